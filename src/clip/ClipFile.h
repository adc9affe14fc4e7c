#pragma once

#include "system/ErrObject.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

// The Quick Clip files: the pending clips "~clp.tmp" in the home, which the file viewer's passages are
// appended to record by record, and the ".qcf" files the user keeps them in. Text is written as UTF-8
// with CR LF line ends; a file that is not valid UTF-8 was written by an older tool and reads as
// Windows-1252. Failures come back as false with `err` set; nothing here shows a message.
namespace ClipFile {

// Files above this size are refused rather than read into the window.
constexpr qint64 MaxBytes = 16 * 1024 * 1024;
// The number a file refused for its size is logged with: the runtime's "Out of memory".
constexpr long TooLargeError = 7;

// A clip file's bytes as text: UTF-8 as written now, else what a byte-order mark names, else
// Windows-1252; every line end as "\n".
QString Decode(QByteArrayView bytes);
// Text as a clip file holds it: UTF-8, every line end (CR LF, LF or a lone CR) as CR LF.
QByteArray Encode(QString text);

// AppPath() + "~clp.tmp" and AppPath() + "QuickClip".
QString PendingPath();
QString Folder();

// One record as Append writes it: the heading, 30 "=", the text, 30 "." and an empty line, every
// line ended by CR LF.
QByteArray Record(const QString &heading, const QString &text);
// Appends one record to the pending clips, creating the file. The record goes in whole or not at all.
bool Append(const QString &heading, const QString &text, ErrObject *err);
// Whether there are unsaved clips: the pending file exists and holds at least 2 bytes.
bool HasPending();
// Deletes the pending clips; true when none are left.
bool Clear();

// Reads a clip file whole, its line ends as "\n". ReadPending reads the pending clips, a missing
// file as none.
bool Read(const QString &path, QString *text, ErrObject *err);
bool ReadPending(QString *text, ErrObject *err);
// Writes `text` as the whole of `path`; a failed write leaves the old file as it was.
bool Save(const QString &path, const QString &text, ErrObject *err);
// Adds `text`, without its leading and trailing blanks, to the end of `path`: from the first byte of an empty or new
// file, after a CR LF otherwise. The old content stays whole.
bool AddTo(const QString &path, const QString &text, ErrObject *err);

} // namespace ClipFile
