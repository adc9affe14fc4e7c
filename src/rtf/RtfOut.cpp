#include "RtfOut.h"

void RtfOut::text(QStringView text)
{
    const QChar *it = text.data();
    const QChar *end = it + text.size();
    for (; it != end; ++it) {
        const char16_t c = it->unicode();
        if (c >= 0x20 && c < 0x7F) {
            if (m_delimit) {
                m_bytes.append(' ');
                m_delimit = false;
            }
            if (c == '\\' || c == '{' || c == '}')
                m_bytes.append('\\');
            m_bytes.append(char(c));
            continue;
        }
        switch (c) {
        case u'\t': word("tab"); break;
        case u'\n':
        case u'\r':
        case u'\v':
        case 0x2028: word("line"); break;
        case 0x00A0: symbol('~'); break;
        case 0x00AD: symbol('-'); break;
        case 0x2011: symbol('_'); break;
        case 0xFFFC: break; // an image or other object, which we do not write
        default:
            // Other control characters have no meaning in text; the noncharacters U+FDD0..U+FDEF
            // are Qt's frame markers.
            if (c < 0x20 || c == 0x7F || (c >= 0xFDD0 && c <= 0xFDEF))
                break;
            // Surrogates go out one by one, as RTF's 16-bit \u demands; signed, as it also demands.
            m_bytes.append("\\u");
            number(int(qint16(c)));
            m_bytes.append('?');
            m_delimit = false;
            break;
        }
    }
}

void RtfOut::appendHeader(QByteArray &out, const QStringList &fonts, const QVector<QRgb> &colors,
                          const QSet<int> &fixedPitch)
{
    out.append("{\\rtf1\\ansi\\ansicpg1252\\deff0{\\fonttbl");
    RtfOut names(64);
    for (qsizetype i = 0; i < fonts.size(); ++i) {
        names.raw("{");
        names.word("f", int(i));
        if (fixedPitch.contains(int(i))) {
            names.word("fmodern");
            names.word("fprq", 1);
        } else {
            names.word("fnil");
        }
        names.word("fcharset", 0);
        // A ";" would end the entry early.
        QString name = fonts[i];
        name.remove(QLatin1Char(';'));
        names.text(name);
        names.raw(";}");
    }
    out.append(names.bytes());
    out.append('}');
    if (!colors.isEmpty()) {
        out.append("{\\colortbl;");
        for (const QRgb rgb : colors) {
            out.append("\\red");
            out.append(QByteArray::number(qRed(rgb)));
            out.append("\\green");
            out.append(QByteArray::number(qGreen(rgb)));
            out.append("\\blue");
            out.append(QByteArray::number(qBlue(rgb)));
            out.append(';');
        }
        out.append('}');
    }
    out.append("\\viewkind4\\uc1");
}
