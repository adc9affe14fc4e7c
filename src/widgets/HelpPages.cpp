#include "HelpPages.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTextDocumentFragment>

#include <algorithm>

Q_LOGGING_CATEGORY(lcHelp, "lorekeep.help")

const QString HelpPages::FolderName = QStringLiteral("Help");
const QString HelpPages::ContentsPage = QStringLiteral("index.html");
const QString HelpPages::SupportPage = QStringLiteral("support.html");
const QString HelpPages::StampFile = QStringLiteral(".installed");

namespace {

const QString bundle = QStringLiteral(":/help/");

QStringList bundledFiles()
{
    QStringList files;
    QDirIterator it(bundle, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << it.next().mid(bundle.size());
    files.sort();
    return files;
}

// Checked at every start, so the pictures, which are most of the bytes and change with their
// pages, count by name and size only.
QByteArray bundleStamp(const QStringList &files)
{
    QCryptographicHash hash(QCryptographicHash::Sha1);
    for (const QString &name : files) {
        QFile file(bundle + name);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        hash.addData(name.toUtf8());
        if (name.endsWith(QLatin1String(".png")))
            hash.addData(QByteArray::number(file.size()));
        else
            hash.addData(file.readAll());
    }
    return hash.result().toHex();
}

} // namespace

QString HelpPages::Folder(const QString &home)
{
    return QDir(home).filePath(FolderName) + QLatin1Char('/');
}

bool HelpPages::Install(const QString &home, ErrObject *err)
{
    const QStringList files = bundledFiles();
    const QByteArray stamp = bundleStamp(files);
    const QString folder = Folder(home);
    QFile installed(folder + StampFile);
    if (installed.open(QIODevice::ReadOnly) && installed.readAll().trimmed() == stamp &&
        QFile::exists(folder + ContentsPage))
        return true;
    installed.close();

    for (const QString &name : files) {
        const QString target = folder + name;
        QSaveFile out(target);
        QFile in(bundle + name);
        if (!QDir().mkpath(QFileInfo(target).absolutePath()) || !in.open(QIODevice::ReadOnly) ||
            !out.open(QIODevice::WriteOnly) || out.write(in.readAll()) < 0 || !out.commit()) {
            *err = {ErrNumber::PathFileAccess, QStringLiteral("Cannot install the help page \"%1\" into \"%2\": %3")
                                                   .arg(name, folder, out.errorString())};
            return false;
        }
    }
    QSaveFile stampFile(folder + StampFile);
    if (!stampFile.open(QIODevice::WriteOnly) || stampFile.write(stamp + '\n') < 0 || !stampFile.commit()) {
        *err = {ErrNumber::PathFileAccess,
                QStringLiteral("Cannot write \"%1\": %2").arg(stampFile.fileName(), stampFile.errorString())};
        return false;
    }
    qCInfo(lcHelp) << "help pages installed into" << folder;
    return true;
}

HelpPages::HelpPages(QString folder) : m_folder(std::move(folder))
{
    if (!m_folder.endsWith(QLatin1Char('/')))
        m_folder += QLatin1Char('/');
}

bool HelpPages::IsAvailable() const
{
    return QFileInfo(m_folder + ContentsPage).isFile();
}

const QList<HelpPages::Entry> &HelpPages::Contents() const
{
    if (m_contentsRead)
        return m_contents;
    m_contentsRead = true;
    QFile file(m_folder + QStringLiteral("contents.txt"));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        qCWarning(lcHelp) << "cannot read" << file.fileName() << file.errorString();
        return m_contents;
    }
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const qsizetype tab = line.lastIndexOf(QLatin1Char('\t'));
        if (line.trimmed().isEmpty() || tab < 0)
            continue;
        const qsizetype indent =
            std::find_if(line.begin(), line.end(), [](QChar c) { return c != u' '; }) - line.begin();
        m_contents.append({line.left(tab).trimmed(), line.mid(tab + 1).trimmed(), int(indent / 2)});
    }
    return m_contents;
}

QString HelpPages::Title(const QString &file) const
{
    for (const Entry &entry : Contents()) {
        if (entry.File == file)
            return entry.Title;
    }
    return file;
}

QStringList HelpPages::Words(const QString &text)
{
    static const QRegularExpression separators(QStringLiteral("[^\\w'-]+"));
    QStringList words = text.toCaseFolded().split(separators, Qt::SkipEmptyParts);
    words.removeDuplicates();
    return words;
}

const QString &HelpPages::plainText(const QString &file) const
{
    auto it = m_text.find(file);
    if (it == m_text.end()) {
        QFile page(m_folder + file);
        QString text;
        if (page.open(QIODevice::ReadOnly))
            text = QTextDocumentFragment::fromHtml(QString::fromUtf8(page.readAll())).toPlainText().toCaseFolded();
        it = m_text.insert(file, text);
    }
    return *it;
}

QStringList HelpPages::Search(const QString &text) const
{
    const QStringList words = Words(text);
    if (words.isEmpty())
        return {};
    struct Hit
    {
        int order;
        bool inTitle;
        qsizetype count;
        QString file;
    };
    QList<Hit> hits;
    const QList<Entry> &contents = Contents();
    for (int i = 0; i < contents.size(); ++i) {
        const QString title = contents.at(i).Title.toCaseFolded();
        const QString &body = plainText(contents.at(i).File);
        bool all = true;
        bool inTitle = true;
        qsizetype count = 0;
        for (const QString &word : words) {
            const qsizetype n = body.count(word);
            all = all && n > 0;
            inTitle = inTitle && title.contains(word);
            count += n;
        }
        if (all)
            hits.append({i, inTitle, count, contents.at(i).File});
    }
    std::stable_sort(hits.begin(), hits.end(), [](const Hit &a, const Hit &b) {
        if (a.inTitle != b.inTitle)
            return a.inTitle;
        return a.count > b.count;
    });
    QStringList files;
    for (const Hit &hit : hits)
        files << hit.file;
    return files;
}
