#pragma once

#include "store/StoreAddress.h"
#include "system/ErrObject.h"

#include <QObject>
#include <QSqlDatabase>
#include <QString>

class QTimer;

// The open store: its one connection, the path it was opened from and the name shown in the window
// caption. The main window makes one and hands it to every pane and component that reads or writes;
// nobody keeps the connection itself, since opening another store replaces it. Tests make their own
// under unique connection names.
class modADO final : public QObject
{
    Q_OBJECT

public:
    explicit modADO(QString connectionName, QObject *parent = nullptr);
    ~modADO() override;
    Q_DISABLE_COPY_MOVE(modADO)

    // Opens the existing store at `path` and makes it this connection. A store that can be written
    // is kept in write-ahead mode with a full sync; one whose file or folder cannot be written is
    // opened for reading (IsReadOnly); one written by a newer Lorekeep is refused untouched. `err`
    // says what went wrong. A failure changes no file and leaves the previous store open as it
    // was, so a mistaken File > Open does not cut the panes off their data.
    bool Open(const QString &path, ErrObject *err);
    void Close();
    // Whether the open store takes changes now: false, with the reason, when it is read-only or
    // another program holds its write lock. Nothing is written.
    bool CanWrite(ErrObject *err) const;

    // Whether the open store was opened for reading only, because its file or folder cannot be
    // written; ReadOnlyError says so in words for the user.
    bool IsReadOnly() const { return !m_readOnlyReason.isEmpty(); }
    ErrObject ReadOnlyError() const;
    // Why the store at `path` cannot take changes (its file or its folder is read-only); empty
    // when it can.
    static QString ReadOnlyReason(const QString &path);

    bool IsOpen() const;
    // Whether another connection, usually another program, committed a change to the store since
    // the last call or since the store was opened. One pragma, cheap enough to ask every few seconds.
    bool ChangedElsewhere();
    // Asks ChangedElsewhere every `intervalMs` and says so through writtenElsewhere.
    void WatchOtherWriters(int intervalMs);
    // The open connection; an invalid one while none is open.
    QSqlDatabase Connection() const;
    QString DatabasePath() const { return m_path; }
    QString DatabaseName() const { return m_name; }
    // The name as the window's caption shows it: " (read-only)" added when the store takes no changes.
    QString CaptionName() const { return IsReadOnly() ? m_name + QStringLiteral(" (read-only)") : m_name; }

    // The file name (after the last "/") with every occurrence of its last four characters removed:
    // "lorekeep.lkb" gives "lorekeep".
    static QString NameFromPath(const QString &path);
    // The version of the SQLite library the store is read with, "3.40.1".
    static QString SqliteVersion();

    // Whether this version reads the store `db` is open on: false, with the reason, for one written
    // by a newer Lorekeep.
    static bool CheckVersion(const QSqlDatabase &db, const QString &path, ErrObject *err);

    using OpenMode = StoreAddress::Access;

Q_SIGNALS:
    // A store was opened in the place of the one before (or the same one again, after a restore):
    // whatever a pane shows of the old one is stale.
    void storeChanged();
    // Another program committed to the open store; seen by WatchOtherWriters.
    void writtenElsewhere();

private:
    bool openAs(const QString &path, OpenMode mode, ErrObject *err);
    bool openShared(const QString &uri, ErrObject *err);
    // Makes the connection just opened the store's, in the place of the one before.
    void takeSpare(const QString &path, const QString &readOnlyReason);
    // A shared library's server announced another desktop's change.
    void noticeChange();

    // The store is opened under a second name and swapped in on success; these alternate.
    QString m_connectionName;
    QString m_spareName;
    bool m_registered = false;
    QString m_path;
    QString m_name;
    QString m_readOnlyReason;
    // SQLite's data_version as this connection last saw it; -1 until read.
    qint64 m_dataVersion = -1;
    QTimer *m_watch = nullptr;
    // Whether the server announced a change not yet taken by ChangedElsewhere.
    bool m_announced = false;
    QTimer *m_announceDelay = nullptr;
};
