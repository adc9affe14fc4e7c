#include "FileImport.h"

#include "GameTable.h"
#include "StoreError.h"
#include "StoreTransaction.h"
#include "platform/NaturalOrder.h"
#include "platform/RtfReader.h"
#include "platform/RtfWriter.h"
#include "platform/TextDecoder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTextDocument>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace {

const QStringList htmlSuffixes = {QStringLiteral("htm"), QStringLiteral("html"), QStringLiteral("xhtml")};

// The folder a browser saves beside a page for its pictures and scripts: "page_files" for
// "page.html", in some languages "page-Dateien" and the like.
bool isPageResources(const QFileInfo &folder)
{
    const QString name = folder.fileName();
    const qsizetype cut = std::max(name.lastIndexOf(QLatin1Char('_')), name.lastIndexOf(QLatin1Char('-')));
    if (cut <= 0)
        return false;
    const QString page = folder.absolutePath() + QLatin1Char('/') + name.left(cut);
    return std::any_of(htmlSuffixes.cbegin(), htmlSuffixes.cend(),
                       [&](const QString &suffix) { return QFileInfo::exists(page + QLatin1Char('.') + suffix); });
}

void collectFolder(const QString &folder, QStringList *files)
{
    QFileInfoList entries =
        QDir(folder).entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::System, QDir::NoSort);
    std::sort(entries.begin(), entries.end(), [](const QFileInfo &a, const QFileInfo &b) {
        // Files first, then the sub-folders, each in the order a file manager shows them.
        if (a.isDir() != b.isDir())
            return b.isDir();
        return NaturalLess(a.fileName(), b.fileName());
    });
    for (const QFileInfo &entry : std::as_const(entries)) {
        if (entry.fileName().startsWith(QLatin1Char('.')))
            continue;
        if (!entry.isDir()) {
            files->append(entry.absoluteFilePath());
        } else if (!entry.isSymLink() && !isPageResources(entry)) {
            // Links to folders are not followed: one could lead back up and never end.
            collectFolder(entry.absoluteFilePath(), files);
        }
    }
}

// The code page an RTF file's header names, by its usual name.
QString rtfCodePage(QByteArrayView rtf)
{
    static const QRegularExpression ansicpg(QStringLiteral(R"(\\ansicpg(\d+))"));
    const QRegularExpressionMatch match =
        ansicpg.match(QString::fromLatin1(rtf.first(std::min<qsizetype>(rtf.size(), 2048))));
    const int page = match.hasMatch() ? match.captured(1).toInt() : 1252;
    switch (page) {
    case 932: return QStringLiteral("shift_jis");
    case 936: return QStringLiteral("gbk");
    case 949: return QStringLiteral("euc-kr");
    case 950: return QStringLiteral("big5");
    case 437: return QStringLiteral("ibm437");
    case 850: return QStringLiteral("ibm850");
    case 10000: return QStringLiteral("macintosh");
    default: return QStringLiteral("windows-") + QString::number(page);
    }
}

// An RTF file as it is, when it is whole: only its raw 8-bit bytes are written as the \'hh escapes
// they stand for, since the store keeps text and reads any other character as itself.
bool storedRtf(const QByteArray &bytes, QString *text)
{
    if (!RtfReader::IsWhole(bytes))
        return false;
    const bool eightBit = std::any_of(bytes.cbegin(), bytes.cend(), [](char c) { return uchar(c) >= 0x80; });
    if (!eightBit) {
        *text = QString::fromLatin1(bytes);
        text->remove(QChar(0));
        return true;
    }
    // Inside \bin data a byte is itself; escaping it would change the data's length.
    if (bytes.contains("\\bin"))
        return false;
    static const char hex[] = "0123456789abcdef";
    QByteArray out;
    out.reserve(bytes.size() + bytes.size() / 4);
    for (const char c : bytes) {
        const uchar b = uchar(c);
        if (b >= 0x80) {
            out.append("\\'");
            out.append(hex[b >> 4]);
            out.append(hex[b & 15]);
        } else if (b != 0) {
            out.append(c);
        }
    }
    *text = QString::fromLatin1(out);
    return true;
}

void convertRtf(const QByteArray &bytes, ImportedFile *file)
{
    file->Encoding = rtfCodePage(bytes);
    if (RtfReader::PlainText(bytes).trimmed().isEmpty()) {
        file->Skipped = QStringLiteral("holds no text");
        return;
    }
    if (storedRtf(bytes, &file->Row.txt_rtf))
        return;
    // A damaged document keeps what the reader could make of it.
    QTextDocument document;
    RtfReader::Read(bytes, &document);
    file->Row.txt_rtf = QString::fromLatin1(RtfWriter::FromDocument(document));
}

void convertHtml(const QByteArray &bytes, ImportedFile *file)
{
    QString html;
    qsizetype markLength = 0;
    QString charset = TextDecoder::ByteOrderMark(bytes, &markLength);
    if (charset.isEmpty()) {
        charset = TextDecoder::HtmlCharset(bytes).toLower();
        // A page cannot declare itself UTF-16 in bytes that are not; browsers read it as UTF-8.
        if (charset.startsWith(QLatin1String("utf-16")))
            charset = QStringLiteral("utf-8");
    }
    if (charset.isEmpty() || !TextDecoder::DecodeAs(QByteArrayView(bytes).sliced(markLength), charset, &html)) {
        const TextDecoder::Decoded decoded = TextDecoder::Decode(bytes);
        if (decoded.Binary) {
            file->Skipped = QStringLiteral("not a text file");
            return;
        }
        html = decoded.Text;
        charset = decoded.Encoding;
    } else if (charset == QLatin1String("iso-8859-1") || charset == QLatin1String("us-ascii")) {
        charset = QStringLiteral("windows-1252");
    }
    file->Encoding = charset;

    // What scripts and style sheets hold is not text, and a saved page's colours (white on black,
    // say) would make the text unreadable in the viewer.
    static const QRegularExpression hidden(QStringLiteral(R"(<(script|style|noscript)\b.*?</\1\s*>|<link\b[^>]*>)"),
                                           QRegularExpression::CaseInsensitiveOption |
                                               QRegularExpression::DotMatchesEverythingOption);
    html.remove(hidden);
    QTextDocument document;
    document.setHtml(html);
    if (document.toPlainText().trimmed().isEmpty()) {
        file->Skipped = QStringLiteral("holds no text");
        return;
    }
    file->Row.txt_rtf = QString::fromLatin1(RtfWriter::FromDocument(document));
}

void convertText(const QByteArray &bytes, ImportedFile *file)
{
    const TextDecoder::Decoded decoded = TextDecoder::Decode(bytes);
    if (decoded.Binary) {
        file->Skipped = QStringLiteral("not a text file");
        return;
    }
    file->Encoding = decoded.Encoding;
    if (decoded.Text.trimmed().isEmpty()) {
        file->Skipped = QStringLiteral("holds no text");
        return;
    }
    file->Row.txt_rtf =
        QString::fromLatin1(RtfWriter::FromPlainText(decoded.Text, RtfWriter::PlainTextFont::FixedPitch));
}

} // namespace

FileImport::FileImport(const QSqlDatabase &db, qint32 gameId) : m_db(db), m_gameId(gameId) {}

QStringList FileImport::Collect(const QStringList &paths)
{
    QStringList files;
    for (const QString &path : paths) {
        const QFileInfo info(path);
        const QString absolute = QDir::cleanPath(info.absoluteFilePath());
        if (info.isDir())
            collectFolder(absolute, &files);
        else
            files.append(absolute);
    }
    return files;
}

quint8 FileImport::SubCategoryFor(const QString &name)
{
    const QString lower = name.toLower();
    const auto has = [&](const char *word) {
        return lower.contains(QLatin1String(word));
    };
    if (has("cheat") || has("code") || has("hint"))
        return 2;
    if (has("preview"))
        return 4;
    if (has("review"))
        return 3;
    if (has("news"))
        return 5;
    return 1;
}

ImportedFile FileImport::Convert(const QString &path, quint8 subCat)
{
    ImportedFile file;
    file.Path = path;
    const QFileInfo info(path);
    file.Row.src = path;
    file.Row.desc = info.completeBaseName().isEmpty() ? info.fileName() : info.completeBaseName();
    file.Row.sub_cat = subCat != 0 ? subCat : SubCategoryFor(file.Row.desc);

    // Only regular files: reading a pipe or a device could wait, or run, for ever.
    std::error_code error;
    const auto status = std::filesystem::status(std::filesystem::path(QFile::encodeName(path).toStdString()), error);
    if (error || !std::filesystem::exists(status)) {
        file.Skipped = QStringLiteral("not found");
        return file;
    }
    if (!std::filesystem::is_regular_file(status)) {
        file.Skipped =
            std::filesystem::is_directory(status) ? QStringLiteral("a folder") : QStringLiteral("not a regular file");
        return file;
    }
    if (info.size() > MaxFileSize) {
        file.Skipped = QStringLiteral("larger than 64 MB");
        return file;
    }
    QFile source(path);
    if (!source.open(QIODevice::ReadOnly)) {
        file.Skipped = QStringLiteral("cannot be read: ") + source.errorString();
        return file;
    }
    const QByteArray bytes = source.read(MaxFileSize + 1);
    if (source.error() != QFileDevice::NoError) {
        file.Skipped = QStringLiteral("cannot be read: ") + source.errorString();
        return file;
    }
    if (bytes.size() > MaxFileSize) {
        file.Skipped = QStringLiteral("larger than 64 MB");
        return file;
    }
    if (bytes.isEmpty()) {
        file.Skipped = QStringLiteral("empty file");
        return file;
    }

    const QString suffix = info.suffix().toLower();
    if (suffix == QLatin1String("rtf") && RtfReader::LooksLikeRtf(bytes))
        convertRtf(bytes, &file);
    else if (htmlSuffixes.contains(suffix))
        convertHtml(bytes, &file);
    else
        convertText(bytes, &file);
    return file;
}

bool FileImport::Begin(ErrObject *err)
{
    GameRow game;
    bool found = false;
    if (!GameTable::Read(m_db, m_gameId, &game, &found, err))
        return false;
    if (!found) {
        *err = StoreError::noRow("game", m_gameId);
        return false;
    }
    return FileTable::Sources(m_db, m_gameId, &m_sources, err);
}

bool FileImport::Store(ImportedFile *file, ErrObject *err)
{
    file->Row.game_id = m_gameId;
    StoreTransaction transaction(m_db);
    qint32 id = 0;
    if (!transaction.begin(err) || !FileTable::Add(m_db, file->Row, &id, err) || !transaction.commit(err))
        return false;
    file->Row.auto_id = id;
    m_sources.insert(file->Path);
    return true;
}
