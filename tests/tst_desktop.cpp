#include "TestHome.h"
#include "store/Schema.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

// What the desktop learns of Lorekeep from its installed files: the menu entry, the software-centre
// description, the file types of libraries and Quick Clip files, and the Debian package holding them.
class tst_desktop final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void filesPassTheirValidators();
    void libraryKnownByItsContent();
    void debianPackage();

private:
    // Runs a program; its exit code, or -1 when it is not installed (the test then skips).
    int run(const QString &program, const QStringList &arguments, QByteArray *output = nullptr);

    QTemporaryDir m_data;
};

int tst_desktop::run(const QString &program, const QStringList &arguments, QByteArray *output)
{
    if (QStandardPaths::findExecutable(program).isEmpty())
        return -1;
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForFinished(240000))
        return -2;
    if (output)
        *output = process.readAll();
    return process.exitCode();
}

void tst_desktop::initTestCase()
{
    // The file types are learnt from our definition alone, in a data folder of the test's own, read
    // before anything in this process asks for a file's type.
    const QString mime = m_data.filePath(QStringLiteral("mime/packages"));
    QVERIFY(QDir().mkpath(mime));
    QVERIFY(QFile::copy(QStringLiteral(LOREKEEP_RESOURCES "/org.lorekeep.Lorekeep.mime.xml"),
                        mime + QStringLiteral("/org.lorekeep.Lorekeep.xml")));
    QByteArray output;
    const int built = run(QStringLiteral("update-mime-database"), {m_data.filePath(QStringLiteral("mime"))}, &output);
    if (built == -1)
        QSKIP("update-mime-database (shared-mime-info) is not installed");
    QVERIFY2(built == 0, output.constData());
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_data.path()));
}

void tst_desktop::filesPassTheirValidators()
{
    QByteArray output;
    int result = run(QStringLiteral("desktop-file-validate"),
                     {QStringLiteral(LOREKEEP_RESOURCES "/org.lorekeep.Lorekeep.desktop")}, &output);
    if (result == -1)
        QSKIP("desktop-file-validate (desktop-file-utils) is not installed");
    QVERIFY2(result == 0 && output.trimmed().isEmpty(), output.constData());
    result = run(QStringLiteral("appstreamcli"),
                 {QStringLiteral("validate"), QStringLiteral("--no-net"),
                  QStringLiteral(LOREKEEP_BUILD_DIR "/org.lorekeep.Lorekeep.metainfo.xml")},
                 &output);
    if (result == -1)
        QSKIP("appstreamcli (appstream) is not installed");
    QVERIFY2(result == 0, output.constData());
    QVERIFY2(!output.contains("W:") && !output.contains("E:"), output.constData());
}

void tst_desktop::libraryKnownByItsContent()
{
    QTemporaryDir scratch;
    ErrObject err;
    // A library renamed to anything is still a library; another program's SQLite file is not.
    const QString renamed = scratch.filePath(QStringLiteral("old collection"));
    QVERIFY(Schema::CreateStore(renamed, &err));
    const QString foreign = scratch.filePath(QStringLiteral("cache"));
    runElsewhere(foreign, {QStringLiteral("CREATE TABLE t (x)")});
    const QString clip = scratch.filePath(QStringLiteral("Boss notes.qcf"));
    writeFile(clip, "Hit the core three times.\r\n");

    // Asked the way file managers ask: through shared-mime-info as GLib reads it.
    const auto typeOf = [this](const QString &path) -> QByteArray {
        QByteArray output;
        if (run(QStringLiteral("gio"),
                {QStringLiteral("info"), QStringLiteral("-a"), QStringLiteral("standard::content-type"), path},
                &output) != 0)
            return QByteArray("(gio failed) ") + output;
        return output.mid(output.indexOf("content-type: ") + 14).trimmed();
    };
    if (QStandardPaths::findExecutable(QStringLiteral("gio")).isEmpty())
        QSKIP("gio (libglib2.0-bin) is not installed");
    QCOMPARE(QList<QByteArray>({typeOf(renamed), typeOf(foreign), typeOf(clip)}),
             QList<QByteArray>(
                 {"application/x-lorekeep-store", "application/vnd.sqlite3", "application/x-lorekeep-quickclip"}));
}

void tst_desktop::debianPackage()
{
    if (QStandardPaths::findExecutable(QStringLiteral("dpkg-shlibdeps")).isEmpty())
        QSKIP("dpkg-shlibdeps (dpkg-dev) is not installed: the Debian package is not built");
    QTemporaryDir out;
    QByteArray output;
    QProcess cpack;
    cpack.setWorkingDirectory(QStringLiteral(LOREKEEP_BUILD_DIR));
    cpack.setProcessChannelMode(QProcess::MergedChannels);
    cpack.start(QStringLiteral(LOREKEEP_CPACK),
                {QStringLiteral("-G"), QStringLiteral("DEB"), QStringLiteral("-B"), out.path()});
    QVERIFY(cpack.waitForFinished(600000));
    QVERIFY2(cpack.exitCode() == 0, cpack.readAll().constData());
    const QString package = out.filePath(QStringLiteral("lorekeep_1.1.0_amd64.deb"));
    QVERIFY(QFile::exists(package));

    QCOMPARE(run(QStringLiteral("dpkg-deb"), {QStringLiteral("-I"), package}, &output), 0);
    for (const char *field : {"Package: lorekeep", "Version: 1.1.0", "Architecture: amd64", "libqt6webenginewidgets6",
                              "libqt6sql6-sqlite", "libqt6sql6-psql", "qt6-qpa-plugins", "libsqlite3-0", "libuchardet0"})
        QVERIFY2(output.contains(field), field);
    QCOMPARE(run(QStringLiteral("dpkg-deb"), {QStringLiteral("-c"), package}, &output), 0);
    for (const char *file :
         {"bin/lorekeep", "bin/lkrtf", "bin/lkimport", "bin/lkfind", "bin/lkcopy", "man1/lkcopy.1", "applications/org.lorekeep",
          "metainfo/org.lorekeep", "mime/packages/org.lorekeep", "man1/lorekeep.1", "apps/lorekeep.png",
          "mimetypes/application-x-lorekeep-store.png", "doc/lorekeep/copyright"})
        QVERIFY2(output.contains(file), file);
    // Only what a user runs is in it: no tests, benchmarks or static libraries.
    QVERIFY(!output.contains("tst_") && !output.contains(".a\n"));
}

QTEST_GUILESS_MAIN(tst_desktop)
#include "tst_desktop.moc"
