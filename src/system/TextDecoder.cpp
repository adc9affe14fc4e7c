#include "TextDecoder.h"

#include <QByteArray>
#include <QRegularExpression>
#include <QHash>
#include <QStringDecoder>

#include <uchardet/uchardet.h>

#include <algorithm>
#include <memory>

namespace {

// Enough of a file to judge its kind by; the rest holds no surprises worth the time.
constexpr qsizetype sampleLength = 64 * 1024;
// Below this many non-ASCII bytes the detector is guessing from a handful of letters.
constexpr int evidenceBytes = 16;

struct Signature
{
    const char *bytes;
    qsizetype length;
};

// Files whose first bytes say what they are, some of which have no NUL byte near the start.
constexpr Signature binarySignatures[] = {
    {"%PDF-", 5},
    {"\x89PNG\r\n", 6},
    {"GIF87a", 6},
    {"GIF89a", 6},
    {"\xFF\xD8\xFF", 3},
    {"PK\x03\x04", 4},
    {"PK\x05\x06", 4},
    {"Rar!\x1A\x07", 6},
    {"\x1F\x8B\x08", 3},
    {"7z\xBC\xAF\x27\x1C", 6},
    {"\xFD"
     "7zXZ\x00",
     6},
    {"\x7F"
     "ELF",
     4},
    {"\xD0\xCF\x11\xE0", 4},
};

bool isControl(char16_t c)
{
    // Shift out and shift in switch ISO-2022-KR between ASCII and Korean.
    return c < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\f' && c != '\v' && c != 0x1B && c != 0x08 &&
           c != 0x1A && c != 0x0E && c != 0x0F;
}

QString usualName(QString name)
{
    name = name.toLower();
    // Web browsers read both as Windows-1252, whose only difference is printable characters where
    // ISO-8859-1 has control codes; old files labelled either mean the Windows page.
    if (name == QLatin1String("iso-8859-1") || name == QLatin1String("ascii") || name == QLatin1String("us-ascii"))
        return QStringLiteral("windows-1252");
    // Korean's Windows page goes by these names too; ICU's "cp949" is IBM's, which lacks the
    // letters Windows added to EUC-KR.
    if (name == QLatin1String("uhc") || name == QLatin1String("ks_c_5601-1987") || name == QLatin1String("ms949"))
        return QStringLiteral("cp949");
    return name;
}

// The converter's name for an encoding's usual one.
QByteArray converterName(const QString &name)
{
    const QString usual = usualName(name);
    return usual == QLatin1String("cp949") ? QByteArray("windows-949") : usual.toLatin1();
}

// Single-byte pages a detector names reliably even on a short text: a wrong one of these costs a
// letter or two, not the whole text.
bool singleBytePage(const QString &name)
{
    return name.startsWith(QLatin1String("windows-125")) || name.startsWith(QLatin1String("iso-8859-")) ||
           name.startsWith(QLatin1String("koi8-"));
}

// Qt's UTF-16 and UTF-32 converters let half of a surrogate pair through on its own. No font shows
// one and UTF-8 cannot hold one, so text saved again would have a "?" there: it becomes the
// replacement character, as any other invalid sequence does. Whether there was one.
bool replaceLoneSurrogates(QString *text)
{
    bool found = false;
    for (qsizetype i = 0; i < text->size(); ++i) {
        const QChar c = text->at(i);
        if (!c.isSurrogate())
            continue;
        if (c.isHighSurrogate() && i + 1 < text->size() && text->at(i + 1).isLowSurrogate()) {
            ++i;
            continue;
        }
        (*text)[i] = QChar::ReplacementCharacter;
        found = true;
    }
    return found;
}

// Decodes with the named converter; false when the name is unknown. `clean` tells whether every
// byte was valid in that encoding.
bool decodeWith(QByteArrayView bytes, const QString &name, QString *text, bool *clean = nullptr)
{
    QStringDecoder decoder(converterName(name).constData());
    if (!decoder.isValid())
        return false;
    *text = decoder.decode(bytes);
    const bool lone = replaceLoneSurrogates(text);
    if (clean)
        *clean = !decoder.hasError() && !lone;
    return true;
}

// False when the name is unknown or the bytes are not valid in it.
bool decodeStrict(QByteArrayView bytes, const QString &name, QString *text)
{
    bool clean = false;
    return decodeWith(bytes, name, text, &clean) && clean;
}

QString detectorGuess(QByteArrayView bytes)
{
    // Making a detector sets up all its probers, which costs more than reading a small file; each
    // thread keeps one and resets it.
    thread_local const std::unique_ptr<std::remove_pointer_t<uchardet_t>, void (*)(uchardet_t)> detector(
        uchardet_new(), uchardet_delete);
    if (!detector)
        return {};
    uchardet_reset(detector.get());
    if (uchardet_handle_data(detector.get(), bytes.data(), size_t(bytes.size())) != 0)
        return {};
    uchardet_data_end(detector.get());
    return QString::fromLatin1(uchardet_get_charset(detector.get()));
}

// What the detector needs to see: the lines that hold non-ASCII bytes, as far as the first
// `sampleLength` of them. Plain ASCII lines tell no encoding from another, and in an old guide they
// are most of the file; leaving them out makes detection several times faster.
QByteArray detectorSample(QByteArrayView bytes)
{
    QByteArray sample;
    qsizetype start = 0;
    while (start < bytes.size() && sample.size() < sampleLength) {
        qsizetype end = bytes.indexOf('\n', start);
        end = end < 0 ? bytes.size() : end + 1;
        const QByteArrayView line = bytes.sliced(start, end - start);
        if (std::any_of(line.begin(), line.end(), [](char c) { return uchar(c) >= 0x80; }))
            sample.append(line);
        start = end;
    }
    return sample;
}

// UTF-16 written without a mark: every other byte of Latin text is zero.
QString utf16WithoutMark(QByteArrayView bytes)
{
    const qsizetype length = std::min(bytes.size(), sampleLength) & ~qsizetype(1);
    if (length < 4)
        return {};
    qsizetype evenZeros = 0;
    qsizetype oddZeros = 0;
    for (qsizetype i = 0; i < length; i += 2) {
        evenZeros += bytes[i] == 0;
        oddZeros += bytes[i + 1] == 0;
    }
    const qsizetype pairs = length / 2;
    if (oddZeros * 10 >= pairs * 4 && evenZeros * 20 < pairs)
        return QStringLiteral("utf-16le");
    if (evenZeros * 10 >= pairs * 4 && oddZeros * 20 < pairs)
        return QStringLiteral("utf-16be");
    return {};
}

// Old files may end in a DOS end-of-file mark or in the NULs that padded their last disk block.
QByteArrayView withoutPadding(QByteArrayView bytes)
{
    qsizetype end = bytes.size();
    while (end > 0 && (bytes[end - 1] == '\x1A' || bytes[end - 1] == '\0'))
        --end;
    return bytes.first(end);
}

qsizetype nonAsciiBytes(QByteArrayView bytes)
{
    return std::count_if(bytes.begin(), bytes.end(), [](char c) { return uchar(c) >= 0x80; });
}

// ISO-2022-JP and ISO-2022-KR are 7-bit: valid ASCII, so valid UTF-8, and told apart only by the
// escape sequences that switch to the double-byte set. Empty when there are none.
QString iso2022(QByteArrayView bytes)
{
    // Most texts have no escape at all: one look for it spares six searches.
    if (!bytes.contains('\x1B') || nonAsciiBytes(bytes) > 0)
        return {};
    for (const char *jis : {"\x1B$B", "\x1B$@", "\x1B$(D", "\x1B(J", "\x1B(I"}) {
        if (bytes.contains(QByteArrayView(jis)))
            return QStringLiteral("iso-2022-jp");
    }
    return bytes.contains(QByteArrayView("\x1B$)C")) ? QStringLiteral("iso-2022-kr") : QString();
}

// Code page 437, the DOS page of old FAQs, which the detector does not know (and takes for EUC-JP
// or a Windows page). Its box drawing (0xB0-0xDF) draws rules of one byte repeated and frames whose
// sides stand apart from the text they enclose, which no language's letters at those bytes do;
// without boxes, its accented letters (0x80-0xA5) stand alone inside Latin words, where a Windows
// page has punctuation at most and a multibyte page never a single byte.
bool looksLikeDos(QByteArrayView bytes)
{
    const auto box = [](uchar c) {
        return c >= 0xB0 && c <= 0xDF;
    };
    const auto letter = [](uchar c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    };
    // Bytes that Windows pages use inside words too: quotes and dashes.
    const auto dosLetter = [](uchar c) {
        return c >= 0x80 && c <= 0xA5 && c != 0x91 && c != 0x92 && c != 0x96 && c != 0x97;
    };
    // Its capitals (Ç Ä Å É Æ Ö Ü Ñ), which sit between small letters only when the bytes are another
    // page's small accented letters: Mac Roman's é è ê and ö are 437's Ä Å É and Ü.
    const auto dosCapital = [](uchar c) {
        return c == 0x80 || c == 0x8E || c == 0x8F || c == 0x90 || c == 0x92 || c == 0x99 || c == 0x9A || c == 0xA5;
    };
    const auto small = [](uchar c) {
        return c >= 'a' && c <= 'z';
    };
    const QByteArrayView sample = bytes.first(std::min(bytes.size(), sampleLength));
    const auto at = [&](qsizetype i) {
        return i >= 0 && i < sample.size() ? uchar(sample[i]) : uchar(' ');
    };
    qsizetype ruled = 0, framed = 0, inWords = 0, lone = 0, nonAscii = 0, high = 0, run = 0, capitals = 0;
    for (qsizetype i = 0; i < sample.size(); ++i) {
        const uchar c = at(i);
        if (c < 0x80)
            continue;
        ++nonAscii;
        high += c >= 0xE0;
        lone += at(i - 1) < 0x80 && at(i + 1) < 0x80;
        inWords += dosLetter(c) && letter(at(i - 1)) && letter(at(i + 1));
        capitals += dosCapital(c) && small(at(i - 1)) && small(at(i + 1));
        run = box(c) && at(i - 1) == c ? run + 1 : 1;
        ruled += run == 4 ? 4 : run > 4;
    }
    for (qsizetype start = 0; start < sample.size();) {
        qsizetype end = sample.indexOf('\n', start);
        end = end < 0 ? sample.size() : end;
        const QByteArray line = QByteArray::fromRawData(sample.data() + start, end - start).trimmed();
        framed += line.size() > 4 && box(uchar(line.front())) && box(uchar(line.back())) && line[1] == ' ' &&
                  line[line.size() - 2] == ' ';
        start = end + 1;
    }
    // Greek letters and signs (0xE0 up) are rare in a DOS text, common in the pages it is taken for.
    const bool accents = inWords >= 3 && lone == nonAscii && capitals * 4 < inWords;
    return high * 10 < nonAscii && (ruled >= 8 || framed >= 2 || accents);
}

// How well the bytes above 0x7F inside Latin words read as letters in `page`: a small letter between
// small letters, a capital between capitals, or an apostrophe or a dash, which join words, count for
// it; a sign, a control code or a capital among small letters counts against it.
int lettersInWords(QByteArrayView bytes, const QString &page)
{
    QString text;
    if (!decodeWith(bytes, page, &text) || text.size() != bytes.size())
        return 0;
    int score = 0;
    for (qsizetype i = 1; i + 1 < bytes.size(); ++i) {
        if (uchar(bytes[i]) < 0x80 || !text[i - 1].isLetter() || !text[i + 1].isLetter() ||
            text[i - 1].unicode() >= 0x80 || text[i + 1].unicode() >= 0x80)
            continue;
        const QChar c = text[i];
        // Apostrophes and dashes join words in every language.
        const bool joins =
            c == QChar(0x2019) || c == QChar(0x2018) || c == QChar(0x2013) || c == QChar(0x2014) || c == QChar(0xAD);
        const bool fits = joins || (c.isLetter() && (c.isLower() ? text[i - 1].isLower() || text[i + 1].isLower()
                                                                 : text[i - 1].isUpper() && text[i + 1].isUpper()));
        score += fits ? 1 : -1;
    }
    return score;
}

// The Latin pages the detector does not know: code page 437 and its Western European sibling 850 of
// DOS (where no frames or rules gave 437 away), and Mac Roman of old Macintosh texts. It takes them for
// a Windows or ISO page, or for Mac Central European, and then reads their accented letters as
// capitals, signs and control codes inside words. One of them is taken when the guess reads words
// wrong and it reads them clearly better; a tie keeps the more common page, the one tried first.
QString betterLatinPage(QByteArrayView bytes, const QString &guess)
{
    const QByteArrayView sample = bytes.first(std::min(bytes.size(), sampleLength));
    int best = lettersInWords(sample, guess);
    // Mac Central European shares most of Mac Roman's letters; Roman is by far the commoner.
    const bool macCentral = guess == QLatin1String("mac-centraleurope");
    if (best >= 0 && !macCentral)
        return guess;
    QString page = guess;
    for (const QString &other : {QStringLiteral("macintosh"), QStringLiteral("ibm437"), QStringLiteral("ibm850")}) {
        const int score = lettersInWords(sample, other);
        const int needed = macCentral && page == guess && other == QLatin1String("macintosh") ? 0 : 3;
        if (score >= 0 && score >= best + needed) {
            best = score;
            page = other;
        }
    }
    return page;
}

// What the detector's name becomes: a name Qt decodes by, and for a single-byte guess made on
// punctuation alone (curly quotes, dashes, which every Windows page has at the same bytes) the
// Windows page of Western text, since the detector then guesses among pages by chance.
QString settledGuess(QString guess, QByteArrayView bytes)
{
    guess = usualName(guess);
    if (guess == QLatin1String("cp949") || guess == QLatin1String("euc-kr")) {
        QString text;
        return decodeStrict(bytes, QStringLiteral("euc-kr"), &text) ? QStringLiteral("euc-kr")
                                                                    : QStringLiteral("cp949");
    }
    // The detector's Mac pages stand for Windows ones as often as for themselves.
    const bool macPage = guess.startsWith(QLatin1String("mac"));
    if (!singleBytePage(guess) && !macPage)
        return guess;
    // Bytes 0x80-0x9F are control codes in an ISO page and never stand in text; in its Windows
    // sibling they are quotes, dashes and letters. The detector often names the ISO page all the same.
    if (guess.startsWith(QLatin1String("iso-8859-")) &&
        std::any_of(bytes.begin(), bytes.end(), [](char c) { return uchar(c) >= 0x80 && uchar(c) <= 0x9F; })) {
        static const QHash<QString, QString> windowsPage{
            {QStringLiteral("iso-8859-2"), QStringLiteral("windows-1250")},
            {QStringLiteral("iso-8859-5"), QStringLiteral("windows-1251")},
            {QStringLiteral("iso-8859-6"), QStringLiteral("windows-1256")},
            {QStringLiteral("iso-8859-7"), QStringLiteral("windows-1253")},
            {QStringLiteral("iso-8859-8"), QStringLiteral("windows-1255")},
            {QStringLiteral("iso-8859-9"), QStringLiteral("windows-1254")},
            {QStringLiteral("iso-8859-13"), QStringLiteral("windows-1257")},
            {QStringLiteral("iso-8859-4"), QStringLiteral("windows-1257")},
            {QStringLiteral("iso-8859-15"), QStringLiteral("windows-1252")}};
        guess = windowsPage.value(guess, guess);
    }
    static constexpr uchar shared[] = {0x82, 0x84, 0x85, 0x86, 0x87, 0x89, 0x8B, 0x91,
                                       0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x99, 0x9B};
    const bool punctuationOnly = std::all_of(bytes.begin(), bytes.end(), [](char c) {
        return uchar(c) < 0x80 || std::find(std::begin(shared), std::end(shared), uchar(c)) != std::end(shared);
    });
    return punctuationOnly ? QStringLiteral("windows-1252") : guess;
}

// A text decoded from UTF-16 or UTF-32 without the padding old files end in; false when it is
// mostly control characters, as a binary file read so is.
bool settleWide(QString *text)
{
    while (text->endsWith(QChar(0x1A)) || text->endsWith(QChar(0)))
        text->chop(1);
    const QStringView sample = QStringView(*text).first(std::min(text->size(), sampleLength));
    const qsizetype controls =
        std::count_if(sample.begin(), sample.end(), [](QChar c) { return c.isNull() || isControl(c.unicode()); });
    return controls * 20 <= sample.size();
}

} // namespace

namespace TextDecoder {

QString ByteOrderMark(QByteArrayView bytes, qsizetype *length)
{
    struct Mark
    {
        const char *bytes;
        qsizetype length;
        const char *name;
    };
    // UTF-32LE's mark begins with UTF-16LE's, so it is tried first.
    static constexpr Mark marks[] = {
        {"\xEF\xBB\xBF", 3, "utf-8"}, {"\xFF\xFE\x00\x00", 4, "utf-32le"}, {"\x00\x00\xFE\xFF", 4, "utf-32be"},
        {"\xFF\xFE", 2, "utf-16le"},  {"\xFE\xFF", 2, "utf-16be"},
    };
    for (const Mark &mark : marks) {
        if (bytes.startsWith(QByteArrayView(mark.bytes, mark.length))) {
            if (length)
                *length = mark.length;
            return QString::fromLatin1(mark.name);
        }
    }
    if (length)
        *length = 0;
    return {};
}

bool LooksBinary(QByteArrayView bytes)
{
    for (const Signature &signature : binarySignatures) {
        if (bytes.startsWith(QByteArrayView(signature.bytes, signature.length)))
            return true;
    }
    const QByteArrayView content = withoutPadding(bytes);
    if (content.contains('\0'))
        return true;
    // Text has few control characters beyond line ends, tabs and form feeds; escape codes (ANSI
    // art, ISO-2022) and backspaces (overstruck printouts) are text too.
    const QByteArrayView sample = content.first(std::min(content.size(), sampleLength));
    const qsizetype controls =
        std::count_if(sample.begin(), sample.end(), [](char c) { return isControl(char16_t(uchar(c))); });
    return controls * 20 > sample.size();
}

bool DecodeAs(QByteArrayView bytes, const QString &name, QString *text)
{
    return decodeWith(bytes, name, text);
}

Decoded Decode(QByteArrayView bytes)
{
    Decoded out;
    qsizetype markLength = 0;
    out.Encoding = ByteOrderMark(bytes, &markLength);
    if (out.Encoding.isEmpty())
        out.Encoding = utf16WithoutMark(bytes);
    if (!out.Encoding.isEmpty()) {
        // A file that says what it is gets what it holds, odd bytes and all.
        DecodeAs(bytes.sliced(markLength), out.Encoding, &out.Text);
        // Zeros in every other byte also make up much of some binary formats.
        if (!settleWide(&out.Text)) {
            out = Decoded();
            out.Binary = true;
        }
        return out;
    }

    if (LooksBinary(bytes)) {
        out.Binary = true;
        return out;
    }
    const QByteArrayView content = withoutPadding(bytes);
    if (const QString jis = iso2022(content); !jis.isEmpty() && decodeStrict(content, jis, &out.Text)) {
        out.Encoding = jis;
        return out;
    }
    if (decodeStrict(content, QStringLiteral("utf-8"), &out.Text)) {
        out.Encoding = QStringLiteral("utf-8");
        return out;
    }
    if (looksLikeDos(content)) {
        out.Encoding = QStringLiteral("ibm437");
        DecodeAs(content, out.Encoding, &out.Text);
        return out;
    }

    QString guess = settledGuess(detectorGuess(detectorSample(content)), content);
    const bool enoughEvidence = nonAsciiBytes(content) >= evidenceBytes;
    const QString detected = guess;
    if ((singleBytePage(guess) && !guess.startsWith(QLatin1String("koi8-"))) ||
        (enoughEvidence && guess == QLatin1String("mac-centraleurope")))
        guess = betterLatinPage(content, guess);
    // A page chosen over the detector's by how words read is trusted as a detector's single-byte page is.
    const bool trusted = enoughEvidence || singleBytePage(guess) || guess != detected;
    if (guess.isEmpty() || !trusted || !decodeStrict(content, guess, &out.Text)) {
        guess = QStringLiteral("windows-1252");
        DecodeAs(content, guess, &out.Text);
    }
    out.Encoding = guess;
    return out;
}

Decoded DecodeChosen(QByteArrayView bytes, const QString &name)
{
    Decoded out;
    out.Encoding = name.toLower();
    QString encoding = out.Encoding;
    const bool wide = encoding.startsWith(QLatin1String("utf-16")) || encoding.startsWith(QLatin1String("utf-32"));
    qsizetype markLength = 0;
    const QString mark = ByteOrderMark(bytes, &markLength);
    if (encoding == QLatin1String("utf-16")) {
        encoding = mark.startsWith(QLatin1String("utf-16")) ? mark : utf16WithoutMark(bytes);
        if (encoding.isEmpty())
            encoding = QStringLiteral("utf-16le");
    }
    // A mark of another encoding is bytes like any other, read as the user asked.
    if (mark != encoding)
        markLength = 0;
    // A wide text has zeros in it; other binary files are told as Decode tells them.
    const bool binary =
        wide ? std::any_of(std::begin(binarySignatures), std::end(binarySignatures),
                           [&bytes](const Signature &signature) {
                               return bytes.startsWith(QByteArrayView(signature.bytes, signature.length));
                           })
             : LooksBinary(bytes);
    const QByteArrayView content = wide ? bytes.sliced(markLength) : withoutPadding(bytes.sliced(markLength));
    if (binary || (DecodeAs(content, encoding, &out.Text) && wide && !settleWide(&out.Text))) {
        out.Text.clear();
        out.Binary = true;
    }
    return out;
}

QString HtmlCharset(QByteArrayView bytes)
{
    // Both <meta charset="x"> and <meta http-equiv="Content-Type" content="text/html; charset=x">.
    static const QRegularExpression meta(QStringLiteral(R"(<meta\b[^>]*?\bcharset\s*=\s*["']?\s*([A-Za-z0-9._:+\-]+))"),
                                         QRegularExpression::CaseInsensitiveOption);
    const QString head = QString::fromLatin1(bytes.first(std::min<qsizetype>(bytes.size(), 4096)));
    const QRegularExpressionMatch match = meta.match(head);
    return match.hasMatch() ? match.captured(1) : QString();
}

} // namespace TextDecoder
