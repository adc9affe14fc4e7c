// The source tree's layers: each folder under src/ includes only from itself and the layers below
// it, so that the panes meet only in the main window and nothing below a window reaches up into
// one. And no source file grows past the size one person can hold in mind.

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

namespace {

const QString sourceRoot = QStringLiteral(LOREKEEP_SOURCE_DIR);
constexpr int maxLines = 600;

const QStringList panes = {QStringLiteral("tree"),  QStringLiteral("view"), QStringLiteral("details"),
                           QStringLiteral("find"),  QStringLiteral("clip"), QStringLiteral("options"),
                           QStringLiteral("backup")};

// What each folder may include besides itself.
const QHash<QString, QStringList> &layers()
{
    static const QHash<QString, QStringList> table = [] {
        const QString components = QStringLiteral("components");
        const QStringList core = {QStringLiteral("platform"), QStringLiteral("base"), QStringLiteral("data")};
        QHash<QString, QStringList> below;
        below.insert(core[0], {});
        below.insert(core[1], core.mid(0, 1));
        below.insert(core[2], core.mid(0, 2));
        // The browser is a control that the file view holds, not a pane of its own.
        const QString browser = QStringLiteral("browser");
        below.insert(components, core);
        below.insert(browser, core + QStringList{components});
        below.insert(QStringLiteral("tools"), core);
        for (const QString &pane : panes)
            below.insert(pane, core + QStringList{components, browser});
        below.insert(QStringLiteral("shell"), core + QStringList{components, browser} + panes);
        below.insert(QStringLiteral("app"), core + QStringList{components, browser, QStringLiteral("shell")} + panes);
        return below;
    }();
    return table;
}

bool isKnownFolder(const QString &folder)
{
    return layers().contains(folder);
}

// Why `folder` may not include from `target`; empty when it may.
QString layerViolation(const QString &folder, const QString &target)
{
    if (!isKnownFolder(folder))
        return QStringLiteral("src/%1 has no place among the layers; give it one in tst_layers").arg(folder);
    if (target == folder || layers().value(folder).contains(target))
        return {};
    if (!isKnownFolder(target))
        return QStringLiteral("\"%1\" is not a folder of src/").arg(target);
    return QStringLiteral("src/%1 may not include from src/%2").arg(folder, target);
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
    return quoted || isKnownFolder(first) ? first : QString();
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
    void includesFollowLayers();
    void filesStaySmall();
};

// The checks below pass on any tree the rule cannot see into, so the rule itself is tried first.
void tst_layers::ruleCatchesViolations()
{
    QVERIFY(layerViolation(QStringLiteral("data"), QStringLiteral("base")).isEmpty());
    QVERIFY(layerViolation(QStringLiteral("view"), QStringLiteral("components")).isEmpty());
    QVERIFY(layerViolation(QStringLiteral("shell"), QStringLiteral("details")).isEmpty());
    for (const auto &[folder, target] :
         {std::pair("data", "shell"), std::pair("base", "data"), std::pair("platform", "base"),
          std::pair("components", "tree"), std::pair("view", "details"), std::pair("browser", "view"),
          std::pair("tools", "view"), std::pair("view", "widgets"), std::pair("widgets", "platform")})
        QVERIFY2(!layerViolation(QLatin1String(folder), QLatin1String(target)).isEmpty(), folder);

    bool missing = false;
    QCOMPARE(includedFolder(QStringLiteral("data/modADO.cpp"), QStringLiteral("../shell/ErrorLog.h"), true, &missing),
             QStringLiteral("shell"));
    QCOMPARE(includedFolder(QStringLiteral("view/ctlView.cpp"), QStringLiteral("shell/modMain.h"), false, &missing),
             QStringLiteral("shell"));
    QVERIFY(includedFolder(QStringLiteral("view/ctlView.cpp"), QStringLiteral("QtCore/QString"), false, &missing)
                .isEmpty());
    // A bare name that is not beside the file came through some other folder's include path.
    includedFolder(QStringLiteral("view/ctlView.cpp"), QStringLiteral("ErrorLog.h"), true, &missing);
    QVERIFY(missing);
    includedFolder(QStringLiteral("view/ctlView.cpp"), QStringLiteral("ctlView.moc"), true, &missing);
    QVERIFY(!missing);
}

void tst_layers::includesFollowLayers()
{
    const QRegularExpression include(QStringLiteral(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"])"));
    const QStringList files = sourceFiles();
    QVERIFY2(files.size() > 50, qPrintable(QStringLiteral("only %1 files under %2").arg(files.size()).arg(sourceRoot)));
    QStringList violations;
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
    }
    QVERIFY(checked > 100);
    QVERIFY2(violations.isEmpty(), qPrintable(QLatin1Char('\n') + violations.join(QLatin1Char('\n'))));
}

void tst_layers::filesStaySmall()
{
    QStringList large;
    for (const QString &file : sourceFiles()) {
        if (!file.endsWith(QLatin1String(".cpp")))
            continue;
        QFile source(sourceRoot + QLatin1Char('/') + file);
        QVERIFY2(source.open(QIODevice::ReadOnly), qPrintable(file));
        const qsizetype lines = source.readAll().count('\n');
        if (lines > maxLines)
            large << QStringLiteral("src/%1 has %2 lines; split it by concern").arg(file).arg(lines);
    }
    QVERIFY2(large.isEmpty(), qPrintable(QLatin1Char('\n') + large.join(QLatin1Char('\n'))));
}

QTEST_GUILESS_MAIN(tst_layers)
#include "tst_layers.moc"
