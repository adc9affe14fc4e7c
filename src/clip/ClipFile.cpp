#include "ClipFile.h"

#include "base/AppPath.h"
#include "system/TextDecoder.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QSaveFile>
#include <QStringDecoder>

namespace {

const QByteArray crlf = QByteArrayLiteral("\r\n");

bool fail(ErrObject *err, long number, const QString &description)
{
    *err = {number, description};
    return false;
}

QString quoted(const QString &path)
{
    return QLatin1Char('"') + path + QLatin1Char('"');
}

// A clip file must be a plain file: a folder cannot be read, and a device or pipe could block the
// window forever.
bool refuseNonFile(const QString &path, ErrObject *err)
{
    const QFileInfo info(path);
    if (info.isDir())
        return !fail(err, ErrNumber::PathFileAccess, quoted(path) + QStringLiteral(" is a folder, not a file."));
    if (info.exists() && !info.isFile())
        return !fail(err, ErrNumber::PathFileAccess, quoted(path) + QStringLiteral(" is not a plain file."));
    return false;
}

bool isUtf8(QByteArrayView bytes)
{
    const QString mark = TextDecoder::ByteOrderMark(bytes);
    if (!mark.isEmpty())
        return mark == QLatin1String("utf-8");
    QStringDecoder utf8(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    const QString decoded = utf8.decode(bytes);
    Q_UNUSED(decoded)
    return !utf8.hasError();
}

bool writeWhole(const QString &path, const QByteArray &bytes, ErrObject *err)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        return fail(err, ErrNumber::PathFileAccess,
                    QStringLiteral("The file %1 could not be written: %2").arg(quoted(path), file.errorString()));
    }
    return true;
}

// Adds `added` (UTF-8, CR LF line ends) at the end of `path`, after a CR LF when `separate` and the
// file holds something. One write; should it fail, the file is cut back to its old length so no
// partial text stays behind.
bool appendText(const QString &path, const QByteArray &added, bool separate, ErrObject *err)
{
    if (refuseNonFile(path, err))
        return false;
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite)) {
        return fail(err, ErrNumber::PathFileAccess,
                    QStringLiteral("The file %1 could not be opened: %2").arg(quoted(path), file.errorString()));
    }
    const qint64 oldSize = file.size();
    if (oldSize > 0 && oldSize <= ClipFile::MaxBytes) {
        const QByteArray old = file.readAll();
        if (!isUtf8(old)) {
            // Written by an older tool: the whole file becomes UTF-8, or it would no longer read as
            // one text.
            file.close();
            return writeWhole(path, ClipFile::Encode(ClipFile::Decode(old)) + (separate ? crlf : QByteArray()) + added,
                              err);
        }
    }
    const QByteArray bytes = (separate && oldSize > 0 ? crlf : QByteArray()) + added;
    if (!file.seek(oldSize) || file.write(bytes) != bytes.size() || !file.flush()) {
        const QString reason = file.errorString();
        file.resize(oldSize);
        return fail(err, ErrNumber::PathFileAccess,
                    QStringLiteral("The file %1 could not be written: %2").arg(quoted(path), reason));
    }
    return true;
}

} // namespace

namespace ClipFile {

QString Decode(QByteArrayView bytes)
{
    qsizetype markLength = 0;
    const QString mark = TextDecoder::ByteOrderMark(bytes, &markLength);
    QString text;
    if (mark.isEmpty() && isUtf8(bytes)) {
        text = QString::fromUtf8(bytes);
    } else if (mark.isEmpty() || !TextDecoder::DecodeAs(bytes.sliced(markLength), mark, &text)) {
        if (!TextDecoder::DecodeAs(bytes, QStringLiteral("windows-1252"), &text))
            text = QString::fromLatin1(bytes);
    }
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return text;
}

QByteArray Encode(QString text)
{
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    text.replace(QLatin1Char('\n'), QStringLiteral("\r\n"));
    return text.toUtf8();
}

QString PendingPath()
{
    return AppPath() + QStringLiteral("~clp.tmp");
}

QString Folder()
{
    return AppPath() + QStringLiteral("QuickClip");
}

QByteArray Record(const QString &heading, const QString &text)
{
    return Encode(heading) + crlf + QByteArray(30, '=') + crlf + Encode(text) + crlf + QByteArray(30, '.') + crlf +
           crlf;
}

bool Append(const QString &heading, const QString &text, ErrObject *err)
{
    return appendText(PendingPath(), Record(heading, text), false, err);
}

bool HasPending()
{
    const QFileInfo pending(PendingPath());
    return pending.isFile() && pending.size() >= 2;
}

bool Clear()
{
    return !QFileInfo::exists(PendingPath()) || QFile::remove(PendingPath());
}

bool Read(const QString &path, QString *text, ErrObject *err)
{
    if (refuseNonFile(path, err))
        return false;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return fail(err, file.exists() ? ErrNumber::PathFileAccess : ErrNumber::FileNotFound,
                    QStringLiteral("The file %1 could not be opened: %2").arg(quoted(path), file.errorString()));
    }
    if (file.size() > MaxBytes) {
        const QLocale locale;
        return fail(err, TooLargeError,
                    QStringLiteral("The file %1 is too large for the Quick Clip window: it holds %2, and the window "
                                   "shows files of up to %3.")
                        .arg(quoted(path), locale.formattedDataSize(file.size()), locale.formattedDataSize(MaxBytes)));
    }
    // Bounded even if the file grows while it is read.
    const QByteArray bytes = file.read(MaxBytes);
    if (file.error() != QFileDevice::NoError) {
        return fail(err, ErrNumber::PathFileAccess,
                    QStringLiteral("The file %1 could not be read: %2").arg(quoted(path), file.errorString()));
    }
    *text = Decode(bytes);
    return true;
}

bool ReadPending(QString *text, ErrObject *err)
{
    if (!QFileInfo::exists(PendingPath())) {
        text->clear();
        return true;
    }
    return Read(PendingPath(), text, err);
}

bool Save(const QString &path, const QString &text, ErrObject *err)
{
    if (refuseNonFile(path, err))
        return false;
    return writeWhole(path, Encode(text), err);
}

bool AddTo(const QString &path, const QString &text, ErrObject *err)
{
    // Nothing to add: a stray line end would be all the file gained.
    if (text.trimmed().isEmpty())
        return !refuseNonFile(path, err);
    // Only blanks go: the line ends after the last record keep the next one apart from it.
    qsizetype first = 0;
    qsizetype end = text.size();
    while (first < end && text.at(first) == QLatin1Char(' '))
        ++first;
    while (end > first && text.at(end - 1) == QLatin1Char(' '))
        --end;
    return appendText(path, Encode(text.mid(first, end - first)), true, err);
}

} // namespace ClipFile
