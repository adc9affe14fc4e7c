#pragma once

#include <QByteArrayView>
#include <QString>

#include <memory>

// The code pages that RTF names with \ansicpg and \fcharset, and the decoding of \'hh bytes by them.
namespace RtfCodePage {

// The Windows code page that an \fcharset value implies: 0 (ANSI) and 1 (default) give 0, meaning
// "the document's own"; 2 (symbol) gives 42; unknown charsets give 0.
int FromCharset(int charset);

// Decodes runs of bytes in one Windows code page (1250-1258, 874, 437, 850, 10000 Mac Roman, 42
// Symbol, and the double-byte 932, 936, 949, 950 where the system can). An unknown code page decodes
// as 1252. Stateless between calls: a run must hold whole characters.
class Decoder
{
public:
    explicit Decoder(int codePage);
    ~Decoder();
    Decoder(Decoder &&) noexcept;
    Decoder &operator=(Decoder &&) noexcept;

    int codePage() const;
    bool isDoubleByte() const;
    // For double-byte pages: whether `byte` starts a two-byte character.
    bool isLeadByte(unsigned char byte) const;
    // Whether ASCII bytes decode as themselves; not so in Symbol, whose letters are Greek.
    bool keepsAscii() const;
    QString decode(QByteArrayView bytes) const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace RtfCodePage
