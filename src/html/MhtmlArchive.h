#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QUrl>

#include <vector>

// The parts of a page saved whole as one MHTML file (RFC 2557, as Chromium writes it). The archive
// keeps the file's bytes (shared, not copied) and where each part lies in them; a part is decoded only
// when it is asked for, so that a snapshot of tens of megabytes costs one pass to open.
class MhtmlArchive final
{
public:
    MhtmlArchive() = default;
    // Never throws or crashes on bad input; an input that is not MHTML gives an empty archive.
    static MhtmlArchive Read(const QByteArray &mhtml);
    bool isEmpty() const;
    // The decoded body (base64 / quoted-printable / 7bit / 8bit / binary) of the part saved from `address`
    // (its Content-Location; also "cid:" Content-ID), empty when the archive has none.
    QByteArray Part(const QUrl &address) const;
    QString PartType(const QUrl &address) const; // its Content-Type without parameters, lower case
    // The page itself: the first text/html part, decoded with its charset, and its address.
    QString MainHtml() const;
    QUrl MainAddress() const;

    int PartCount() const { return int(m_parts.size()); }

    static QByteArray DecodeQuotedPrintable(QByteArrayView encoded);

private:
    enum class Encoding : quint8 { Identity, Base64, QuotedPrintable };
    struct Entry
    {
        qsizetype bodyStart = 0;
        qsizetype bodyLength = 0;
        Encoding encoding = Encoding::Identity;
        QString type;
        QString charset;
        QString location;
    };

    const Entry *find(const QUrl &address) const;
    QByteArray decoded(const Entry &entry) const;

    QByteArray m_data;
    std::vector<Entry> m_parts;
    QHash<QString, int> m_byAddress; // Content-Location (fully encoded) and "cid:" Content-ID
    QString m_snapshotLocation;
};
