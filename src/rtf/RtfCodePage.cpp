#include "RtfCodePage.h"

#include <QStringDecoder>

namespace {

struct SingleBytePage
{
    int codePage;
    const char16_t *upper; // bytes 0x80-0xFF
};

#include "RtfCodePageTables.inc"

// Asked for by Windows' names, since Windows wrote these documents: the plain EUC-KR converter, for one,
// knows none of the Unified Hangul pairs that 949 adds.
struct DoubleBytePage
{
    int codePage;
    const char *name;
};
constexpr DoubleBytePage kDoubleBytePages[] = {
    {932, "windows-31j"},
    {936, "windows-936"},
    {949, "windows-949"},
    {950, "windows-950"},
};

enum ByteClass : unsigned char { Lead = 1, Trail = 2 };

constexpr char16_t kReplacement = 0xFFFD;

} // namespace

int RtfCodePage::FromCharset(int charset)
{
    switch (charset) {
    case 2: return 42;
    case 77: return 10000;
    case 128: return 932;
    case 129: return 949;
    case 134: return 936;
    case 136: return 950;
    case 161: return 1253;
    case 162: return 1254;
    case 163: return 1258;
    case 177: return 1255;
    case 178: return 1256;
    case 186: return 1257;
    case 204: return 1251;
    case 222: return 874;
    case 238: return 1250;
    case 254: return 437;
    case 255: return 850;
    default: return 0; // 0 and 1 mean the document's page; Johab (130) and the Mac scripts are not read
    }
}

struct RtfCodePage::Decoder::Private
{
    int codePage = 0;

    // Single-byte pages: bytes from tableStart up come from table, the rest are themselves.
    const char16_t *table = nullptr;
    unsigned tableStart = 0x80;

    // Double-byte pages. Classifying the bytes ourselves means the system decoder only ever sees whole
    // pairs, so it can never hold half a character over from one run to the next.
    bool doubleByte = false;
    unsigned char byteClass[256] = {};
    // Decoding moves its state even though we never leave it mid-character, hence mutable; it is why
    // one Decoder must not be shared between threads.
    mutable QStringDecoder system;

    void classify(unsigned first, unsigned last, unsigned char cls)
    {
        for (unsigned b = first; b <= last; ++b)
            byteClass[b] |= cls;
    }

    bool isPair(unsigned char lead, unsigned char trail) const
    {
        return (byteClass[lead] & Lead) && (byteClass[trail] & Trail);
    }

    // A byte that is a character by itself, or a lead byte without a trail byte.
    char16_t single(unsigned char b) const
    {
        if (b < 0x80)
            return b;
        if (codePage == 932 && b >= 0xA1 && b <= 0xDF)
            return char16_t(0xFF61 + (b - 0xA1)); // half-width katakana
        if (b == 0x80)
            return codePage == 936 ? char16_t(0x20AC) : char16_t(0x0080);
        return kReplacement;
    }

    QChar *appendPairs(QChar *out, QByteArrayView pairs) const
    {
        if (!system.isValid()) {
            for (qsizetype i = 0; i < pairs.size(); i += 2)
                *out++ = QChar(kReplacement);
            return out;
        }
        return system.appendToBuffer(out, pairs);
    }

    QString decodeDoubleByte(QByteArrayView bytes) const
    {
        const qsizetype n = bytes.size();
        QString text(system.isValid() ? system.requiredSpace(n) : n, Qt::Uninitialized);
        QChar *const begin = text.data();
        QChar *out = begin;
        qsizetype pairsFrom = -1;
        qsizetype i = 0;
        while (i < n) {
            const auto b = static_cast<unsigned char>(bytes[i]);
            if (i + 1 < n && isPair(b, static_cast<unsigned char>(bytes[i + 1]))) {
                if (pairsFrom < 0)
                    pairsFrom = i;
                i += 2;
                continue;
            }
            if (pairsFrom >= 0) {
                out = appendPairs(out, bytes.sliced(pairsFrom, i - pairsFrom));
                pairsFrom = -1;
            }
            *out++ = QChar(single(b));
            ++i;
        }
        if (pairsFrom >= 0)
            out = appendPairs(out, bytes.sliced(pairsFrom));
        text.truncate(out - begin);
        return text;
    }
};

RtfCodePage::Decoder::Decoder(int codePage) : d(std::make_unique<Private>())
{
    d->codePage = codePage;
    if (codePage == 42) {
        d->table = kSymbol;
        d->tableStart = 0;
        return;
    }
    for (const DoubleBytePage &page : kDoubleBytePages) {
        if (page.codePage != codePage)
            continue;
        d->doubleByte = true;
        d->system = QStringDecoder(page.name);
        if (codePage == 932) {
            d->classify(0x81, 0x9F, Lead);
            d->classify(0xE0, 0xFC, Lead);
        } else {
            d->classify(0x81, 0xFE, Lead);
        }
        switch (codePage) {
        case 932:
            d->classify(0x40, 0x7E, Trail);
            d->classify(0x80, 0xFC, Trail);
            break;
        case 936:
            d->classify(0x40, 0x7E, Trail);
            d->classify(0x80, 0xFE, Trail);
            break;
        case 949:
            d->classify(0x41, 0x5A, Trail);
            d->classify(0x61, 0x7A, Trail);
            d->classify(0x81, 0xFE, Trail);
            break;
        case 950:
            d->classify(0x40, 0x7E, Trail);
            d->classify(0xA1, 0xFE, Trail);
            break;
        }
        return;
    }
    d->table = kUpper1252;
    for (const SingleBytePage &page : kSingleBytePages) {
        if (page.codePage == codePage)
            d->table = page.upper;
    }
}

RtfCodePage::Decoder::~Decoder() = default;
RtfCodePage::Decoder::Decoder(Decoder &&) noexcept = default;
RtfCodePage::Decoder &RtfCodePage::Decoder::operator=(Decoder &&) noexcept = default;

// The page asked for, even when it fell back to 1252, so that callers can key their decoders by it.
int RtfCodePage::Decoder::codePage() const
{
    return d->codePage;
}

bool RtfCodePage::Decoder::isDoubleByte() const
{
    return d->doubleByte;
}

bool RtfCodePage::Decoder::isLeadByte(unsigned char byte) const
{
    return d->byteClass[byte] & Lead;
}

bool RtfCodePage::Decoder::keepsAscii() const
{
    return d->doubleByte || d->tableStart >= 0x80;
}

QString RtfCodePage::Decoder::decode(QByteArrayView bytes) const
{
    if (bytes.isEmpty())
        return QString();
    if (d->doubleByte)
        return d->decodeDoubleByte(bytes);

    QString text(bytes.size(), Qt::Uninitialized);
    QChar *out = text.data();
    const char16_t *const table = d->table;
    const unsigned start = d->tableStart;
    for (const char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        *out++ = QChar(b < start ? char16_t(b) : table[b - start]);
    }
    return text;
}
