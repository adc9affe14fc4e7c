// The source tree's layers: each folder under src/ includes only from itself and the layers below
// it, and its library links only theirs, so that the panes meet only in the main window and nothing
// below a window reaches up into one. And no source file grows past the size one person can hold in mind.

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

namespace {

const QString sourceRoot = QStringLiteral(LOREKEEP_SOURCE_DIR);
constexpr int maxLines = 600;
// A library one person can know whole.
constexpr int maxFolderLines = 4000;

const QStringList panes = QStringLiteral("tree view details find clip options backup").split(QLatin1Char(' '));

// What each folder may include besides itself. Below the panes the layers form one chain, lowest
// first; the tools sit on the widget-free part of it.
const QHash<QString, QStringList> &layers()
{
    static const QHash<QString, QStringList> table = [] {
        // The browser is a control that the file view holds, not a pane of its own.
        const QStringList chain =
            QStringLiteral(
                "system base rtf html store findindex data search import webpage widgets print reader components browser")
                .split(QLatin1Char(' '));
        QHash<QString, QStringList> below;
        for (int i = 0; i < chain.size(); ++i)
            below.insert(chain[i], chain.mid(0, i));
        below.insert(QStringLiteral("tools"),
                     QStringLiteral("system base rtf html store findindex data search import webpage print").split(QLatin1Char(' ')));
        for (const QString &pane : panes)
            below.insert(pane, chain);
        below.insert(QStringLiteral("shell"), chain + panes);
        below.insert(QStringLiteral("app"), chain + panes + QStringList{QStringLiteral("shell")});
        return below;
    }();
    return table;
}

// Why `folder` may not include from `target`; empty when it may.
QString layerViolation(const QString &folder, const QString &target)
{
    if (!layers().contains(folder))
        return QStringLiteral("src/%1 has no place among the layers; give it one in tst_layers").arg(folder);
    if (target == folder || layers().value(folder).contains(target))
        return {};
    if (!layers().contains(target))
        return QStringLiteral("\"%1\" is not a folder of src/").arg(target);
    return QStringLiteral("src/%1 may not include from src/%2").arg(folder, target);
}

// What is wrong with the CMakeLists.txt of src/`folder`: it must make the library lorekeep_<folder>
// and link no layer that the folder may not include, so that the linker holds to the layers too.
QStringList linkViolations(const QString &folder, const QString &cmakeText)
{
    QStringList why;
    if (!cmakeText.contains(QStringLiteral("lorekeep_add_layer(%1)").arg(folder)))
        why << QStringLiteral("src/%1/CMakeLists.txt does not make lorekeep_%1 with lorekeep_add_layer").arg(folder);
    static const QRegularExpression links(QStringLiteral(R"(target_link_libraries\s*\(([^)]*)\))"));
    static const QRegularExpression library(QStringLiteral(R"(\blorekeep_(\w+))"));
    for (auto call = links.globalMatch(cmakeText); call.hasNext();) {
        const QString arguments = call.next().captured(1);
        for (auto name = library.globalMatch(arguments); name.hasNext();) {
            const QString target = name.next().captured(1);
            if (layers().contains(target) && !layerViolation(folder, target).isEmpty())
                why << QStringLiteral("lorekeep_%1 links lorekeep_%2: %3")
                           .arg(folder, target, layerViolation(folder, target));
        }
    }
    return why;
}

// The src/ folder an include of `file` (a path relative to src/) reaches; empty for a system header.
// A quoted name without a folder must lie beside the file, unless moc makes it.
QString includedFolder(const QString &file, const QString &included, bool quoted, bool *missing)
{
    *missing = false;
    const QString dir = QFileInfo(file).path();
    const QString folder = file.section(QLatin1Char('/'), 0, 0);
    if (included.startsWith(QLatin1String("./")) || included.startsWith(QLatin1String("../")))
        return QDir::cleanPath(dir + QLatin1Char('/') + included).section(QLatin1Char('/'), 0, 0);
    if (!included.contains(QLatin1Char('/'))) {
        if (!quoted)
            return {};
        const bool generated = included.startsWith(QLatin1String("moc_")) || included.endsWith(QLatin1String(".moc"));
        *missing = !generated && !QFileInfo::exists(sourceRoot + QLatin1Char('/') + dir + QLatin1Char('/') + included);
        return folder;
    }
    if (QFileInfo::exists(sourceRoot + QLatin1Char('/') + dir + QLatin1Char('/') + included))
        return folder;
    const QString first = included.section(QLatin1Char('/'), 0, 0);
    return quoted || layers().contains(first) ? first : QString();
}

QStringList sourceFiles()
{
    QStringList files;
    QDirIterator it(sourceRoot, {QStringLiteral("*.cpp"), QStringLiteral("*.h"), QStringLiteral("*.inc")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        files << QDir(sourceRoot).relativeFilePath(it.next());
    files.sort();
    return files;
}

} // namespace

class tst_layers final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ruleCatchesViolations();
    void includesAndLibrariesFollowLayersAndFilesStaySmall();
};

// The checks below pass on any tree the rule cannot see into, so the rule itself is tried first.
void tst_layers::ruleCatchesViolations()
{
    // Folder, included folder, allowed.
    const std::tuple<const char *, const char *, bool> rules[] = {
        {"data", "rtf", true},         {"print", "widgets", true}, {"view", "components", true},
        {"shell", "details", true},    {"data", "shell", false},   {"system", "base", false},
        {"rtf", "data", false},        {"data", "widgets", false}, {"widgets", "print", false},
        {"components", "tree", false}, {"view", "details", false}, {"browser", "view", false},
        {"tools", "widgets", false},   {"tools", "view", false},   {"widgets", "platform", false}};
    for (const auto &[folder, target, allowed] : rules)
        QVERIFY2(layerViolation(QLatin1String(folder), QLatin1String(target)).isEmpty() == allowed, target);

    const auto linkFaults = [](const char *cmake) {
        return linkViolations(QStringLiteral("data"), QLatin1String(cmake)).size();
    };
    QCOMPARE(std::tuple(linkFaults("lorekeep_add_layer(data)\ntarget_link_libraries(lorekeep_data PUBLIC "
                                   "lorekeep_system\n  lorekeep_rtf Qt6::Sql PRIVATE SQLite::SQLite3)"),
                        linkFaults("lorekeep_add_layer(data)\ntarget_link_libraries(lorekeep_data PUBLIC "
                                   "lorekeep_rtf\n  lorekeep_widgets lorekeep_build_flags)"),
                        linkFaults("add_library(lorekeep_data STATIC a.cpp)") > 0),
             std::tuple(0, 1, true));

    // A bare name that is not beside the file came through some other folder's include path.
    const auto folderOf = [](const char *file, const char *included, bool quoted) {
        bool missing = false;
        const QString folder = includedFolder(QLatin1String(file), QLatin1String(included), quoted, &missing);
        return missing ? QStringLiteral("missing") : folder;
    };
    QCOMPARE(QStringList({folderOf("data/modADO.cpp", "../shell/ErrorLog.h", true),
                          folderOf("view/ctlView.cpp", "shell/modMain.h", false),
                          folderOf("view/ctlView.cpp", "QtCore/QString", false),
                          folderOf("view/ctlView.cpp", "ErrorLog.h", true),
                          folderOf("view/ctlView.cpp", "ctlView.moc", true)}),
             QStringList({"shell", "shell", "", "missing", "view"}));
}

void tst_layers::includesAndLibrariesFollowLayersAndFilesStaySmall()
{
    const QRegularExpression include(QStringLiteral(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"])"));
    const QStringList files = sourceFiles();
    QVERIFY2(files.size() > 50, qPrintable(QStringLiteral("only %1 files under %2").arg(files.size()).arg(sourceRoot)));
    QStringList violations, large;
    QMap<QString, int> folders;
    int checked = 0;
    for (const QString &file : files) {
        const QString folder = file.section(QLatin1Char('/'), 0, 0);
        if (!file.contains(QLatin1Char('/'))) {
            violations << QStringLiteral("%1 lies in src/ itself, outside every layer").arg(file);
            continue;
        }
        QFile source(sourceRoot + QLatin1Char('/') + file);
        QVERIFY2(source.open(QIODevice::ReadOnly | QIODevice::Text), qPrintable(file));
        int lineNumber = 0;
        while (!source.atEnd()) {
            const QString line = QString::fromUtf8(source.readLine());
            ++lineNumber;
            const QRegularExpressionMatch match = include.match(line);
            if (!match.hasMatch())
                continue;
            ++checked;
            const QString included = match.captured(2);
            bool missing = false;
            const QString target = includedFolder(file, included, match.captured(1) == QLatin1String("\""), &missing);
            QString why = target.isEmpty() ? QString() : layerViolation(folder, target);
            if (missing)
                why = QStringLiteral("\"%1\" is not beside it; name its folder").arg(included);
            if (!why.isEmpty())
                violations
                    << QStringLiteral("src/%1:%2 includes \"%3\": %4").arg(file).arg(lineNumber).arg(included, why);
        }
        folders[folder] += lineNumber;
        if (file.endsWith(QLatin1String(".cpp")) && lineNumber > maxLines)
            large << QStringLiteral("src/%1 has %2 lines; split it by concern").arg(file).arg(lineNumber);
    }
    for (auto folder = folders.cbegin(); folder != folders.cend(); ++folder) {
        if (folder.value() > maxFolderLines)
            large << QStringLiteral("src/%1 has %2 lines; split it into layers").arg(folder.key()).arg(folder.value());
    }
    QVERIFY(checked > 100);
    // Each library links only the layers its folder may include.
    const QStringList dirs = QDir(sourceRoot).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    QVERIFY2(dirs.size() > 10, qPrintable(sourceRoot));
    for (const QString &folder : dirs) {
        if (folder == QLatin1String("app") || folder == QLatin1String("tools"))
            continue;
        QFile cmake(sourceRoot + QLatin1Char('/') + folder + QStringLiteral("/CMakeLists.txt"));
        if (!cmake.open(QIODevice::ReadOnly | QIODevice::Text)) {
            violations << QStringLiteral("src/%1 has no CMakeLists.txt of its own").arg(folder);
            continue;
        }
        violations << linkViolations(folder, QString::fromUtf8(cmake.readAll()));
    }
    QVERIFY2(violations.isEmpty(), qPrintable(QLatin1Char('\n') + violations.join(QLatin1Char('\n'))));
    QVERIFY2(large.isEmpty(), qPrintable(QLatin1Char('\n') + large.join(QLatin1Char('\n'))));
}

QTEST_GUILESS_MAIN(tst_layers)
#include "tst_layers.moc"
