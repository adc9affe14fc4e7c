#include "TextEncodings.h"

#include "TextDecoder.h"

#include <QByteArrayView>

#include <algorithm>
#include <initializer_list>

namespace {

struct Entry
{
    const char *name;
    const char *label;
    // Other names people and programs use for the same bytes.
    std::initializer_list<const char *> aliases;
};

// The encodings old guides come in. ISO-8859-1 reads as Windows-1252, as browsers read it: the two
// differ only where ISO-8859-1 has control codes no text holds.
const Entry entries[] = {
    {"utf-8", "Unicode (UTF-8)", {"utf8"}},
    {"utf-16", "Unicode (UTF-16)", {"utf16", "ucs-2"}},
    {"utf-16le", "Unicode (UTF-16LE)", {}},
    {"utf-16be", "Unicode (UTF-16BE)", {}},
    {"windows-1252", "Western (Windows-1252)", {"cp1252", "ansi"}},
    {"iso-8859-1", "Western (ISO-8859-1)", {"latin1", "latin-1", "iso8859-1", "l1"}},
    {"iso-8859-15", "Western (ISO-8859-15)", {"latin9", "latin-9", "iso8859-15"}},
    {"macintosh", "Western (Mac Roman)", {"macroman", "mac-roman", "x-mac-roman", "mac"}},
    {"ibm437", "DOS (IBM437)", {"cp437", "437", "dos", "oem"}},
    {"ibm850", "DOS Western Europe (IBM850)", {"cp850", "850"}},
    {"windows-1250", "Central European (Windows-1250)", {"cp1250"}},
    {"iso-8859-2", "Central European (ISO-8859-2)", {"latin2", "latin-2", "iso8859-2"}},
    {"ibm852", "Central European DOS (IBM852)", {"cp852", "852"}},
    {"windows-1251", "Cyrillic (Windows-1251)", {"cp1251"}},
    {"koi8-r", "Cyrillic (KOI8-R)", {"koi8r"}},
    {"koi8-u", "Cyrillic (KOI8-U)", {"koi8u"}},
    {"iso-8859-5", "Cyrillic (ISO-8859-5)", {"iso8859-5"}},
    {"ibm866", "Cyrillic DOS (IBM866)", {"cp866", "866"}},
    {"windows-1253", "Greek (Windows-1253)", {"cp1253"}},
    {"iso-8859-7", "Greek (ISO-8859-7)", {"iso8859-7"}},
    {"windows-1254", "Turkish (Windows-1254)", {"cp1254"}},
    {"iso-8859-9", "Turkish (ISO-8859-9)", {"latin5", "iso8859-9"}},
    {"windows-1255", "Hebrew (Windows-1255)", {"cp1255"}},
    {"iso-8859-8", "Hebrew (ISO-8859-8)", {"iso8859-8"}},
    {"windows-1256", "Arabic (Windows-1256)", {"cp1256"}},
    {"iso-8859-6", "Arabic (ISO-8859-6)", {"iso8859-6"}},
    {"windows-1257", "Baltic (Windows-1257)", {"cp1257"}},
    {"iso-8859-13", "Baltic (ISO-8859-13)", {"latin7", "iso8859-13"}},
    {"windows-874", "Thai (Windows-874)", {"cp874", "tis-620", "tis620"}},
    {"windows-1258", "Vietnamese (Windows-1258)", {"cp1258"}},
    {"shift_jis", "Japanese (Shift_JIS)", {"shift-jis", "sjis", "s-jis"}},
    {"euc-jp", "Japanese (EUC-JP)", {"eucjp", "euc_jp"}},
    {"iso-2022-jp", "Japanese (ISO-2022-JP)", {"iso2022jp", "jis"}},
    {"euc-kr", "Korean (EUC-KR)", {"euckr", "euc_kr"}},
    {"cp949", "Korean (CP949)", {"uhc", "ms949", "windows-949", "ks_c_5601-1987"}},
    {"iso-2022-kr", "Korean (ISO-2022-KR)", {"iso2022kr"}},
    {"gb18030", "Chinese Simplified (GBK / GB18030)", {"gbk", "gb2312", "cp936", "euc-cn"}},
    {"big5", "Chinese Traditional (Big5)", {"big-5", "cp950"}},
};

bool decodable(const char *name)
{
    QString text;
    return TextDecoder::DecodeAs(QByteArrayView("A"), QLatin1String(name), &text);
}

} // namespace

namespace TextEncodings {

const QVector<Encoding> &All()
{
    static const QVector<Encoding> offered = [] {
        QVector<Encoding> list;
        for (const Entry &entry : entries) {
            if (decodable(entry.name))
                list.append({QLatin1String(entry.name), QLatin1String(entry.label)});
        }
        return list;
    }();
    return offered;
}

const Encoding *Find(const QString &name)
{
    const QString wanted = name.trimmed();
    const auto same = [&wanted](const char *known) {
        return wanted.compare(QLatin1String(known), Qt::CaseInsensitive) == 0;
    };
    for (const Entry &entry : entries) {
        if (!same(entry.name) && std::none_of(entry.aliases.begin(), entry.aliases.end(), same))
            continue;
        const QVector<Encoding> &offered = All();
        const auto found = std::find_if(offered.cbegin(), offered.cend(), [&entry](const Encoding &encoding) {
            return encoding.Name == QLatin1String(entry.name);
        });
        return found == offered.cend() ? nullptr : &*found;
    }
    return nullptr;
}

} // namespace TextEncodings
