#include "LocalWebServer.h"
#include "ScriptedPrompts.h"
#include "TestHome.h"
#include "base/AppPath.h"
#include "browser/BrowserAddress.h"
#include "browser/ctlBrowser.h"
#include "browser/frmFavorite.h"
#include "data/HomeFolder.h"
#include "data/SnapshotTable.h"
#include "rtf/RtfReader.h"
#include "system/Contrast.h"
#include "system/SettingsStore.h"
#include "view/ctlView.h"
#include "webpage/FileRequestFilter.h"
#include "webpage/StartPageScheme.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTabBar>
#include <QTemporaryDir>
#include <QTest>
#include <QWebEngineScript>
#include <QWebEngineView>

#include <algorithm>
#include <tuple>

namespace {

// The engine wants these said before the application exists.
const bool sharedContexts = [] {
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    StartPageScheme::Register();
    return true;
}();

constexpr int loadTimeout = 20000;

// The file view on a fresh home, uncovered, with its browser tab shown.
struct Pane
{
    TestHome home;
    ctlView view;
    ctlBrowser *browser = view.WebBrowser();

    Pane()
    {
        view.setStore(&home.store());
        view.resize(900, 700);
        view.Cover(false);
        view.show();
    }
    // Runs `act` and waits for the page it loads.
    bool load(const std::function<void()> &act)
    {
        QWebEngineView *web = browser->View();
        if (!web) {
            view.SelectTab(ctlView::Tab::Browser);
            web = browser->View();
        }
        QSignalSpy done(web, &QWebEngineView::loadFinished);
        act();
        return done.wait(loadTimeout);
    }
    QAction *button(const char *key) const { return browser->findChild<QAction *>(QLatin1String(key)); }
    // The address box, made with the tab.
    QComboBox *address() const { return browser->findChild<QComboBox *>(QStringLiteral("cboURL")); }
    QString tabText() const { return view.findChild<QTabBar *>(QStringLiteral("tbsTabs"))->tabText(1); }
    // What Import This Page (or another of the Add menu's imports) hands over of the page shown.
    WebPage imported(const char *action = "mnuDirectImport")
    {
        QSignalSpy handed(&view, &ctlView::DirectImport);
        button(action)->trigger();
        return handed.wait(loadTimeout) ? handed.at(0).at(0).value<WebPage>() : WebPage{};
    }
    // The Add menu as the user opens it: which of its imports it offers.
    bool offersSelection()
    {
        auto *menu = browser->findChild<QMenu *>(QStringLiteral("mnuHidden"));
        button("AddFav")->trigger();
        const bool offered = button("mnuImportSelection")->isEnabled();
        menu->close();
        return offered;
    }
};

// Whether every picture of the shown page has arrived and can be drawn.
bool picturesShown(QWebEngineView *web)
{
    QVariant answer;
    web->page()->runJavaScript(
        QStringLiteral("Array.from(document.images).every(function(i){return i.complete && i.naturalWidth > 0;})"),
        QWebEngineScript::ApplicationWorld, [&answer](const QVariant &result) { answer = result; });
    return QTest::qWaitFor([&answer] { return answer.isValid(); }, loadTimeout) && answer.toBool();
}

} // namespace

class tst_browser final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { clearSettings(); }
    void startPage();
    void pageHistoryImportAndPopups();
    void importedPartsAndSnapshot();
    void pageReachesNoFiles();
    void filesAndAddressesAllowed();
    void addressBoxAndFavorites();

private:
    LocalWebServer server;
};

void tst_browser::initTestCase()
{
    QVERIFY(sharedContexts);
    server.addPage(QStringLiteral("/guide"),
                   "<html><head><title>Ninja Drift Guide</title></head><body><h1>Ninja Drift</h1>"
                   "<p>First lap: drift early.</p><p>Second lap<br>Caf\xc3\xa9 shortcut</p>"
                   "<p><a href=\"/codes\">All the codes</a></p></body></html>");
    server.addPage(QStringLiteral("/article"),
                   "<html><head><title>Tetra Rally Tips</title></head><body>"
                   "<nav><a href=\"/\">Home</a> <a href=\"/forums\">Forums</a></nav>"
                   "<aside>Top ten sidebar</aside><article><h1>Tetra Rally Tips</h1>"
                   "<p>Brake before the hairpin on the second stage; the gravel there is loose and the barrier "
                   "is closer than it looks, so a late brake costs the whole run.</p>"
                   "<p id=\"pick\">Only this paragraph</p>"
                   "<ul><li>Soft tyres in the rain</li><li>Hard tyres on tarmac</li></ul>"
                   "<p>Save the turbo for the long straight after the bridge, where the car reaches its top "
                   "speed and nobody can follow you into the tunnel.</p></article>"
                   "<footer>Copyright footer</footer>"
                   "<script>fetch('/ping');</script></body></html>");
    server.addPage(QStringLiteral("/ping"), "pong", "text/plain");
    server.addPage(QStringLiteral("/blank"), "<html><body><img src=\"/none.png\"></body></html>");
    server.addPage(QStringLiteral("/codes"), "<html><head><title>Codes</title></head><body>UUDDLRLRBA</body></html>");
    server.addPage(QStringLiteral("/popup"), "<html><head><title>Pop</title></head><body>"
                                             "<script>window.open('/codes', 'extra');</script></body></html>");
}

void tst_browser::startPage()
{
    Pane pane;
    ErrObject err;
    QVERIFY2(HomeFolder::Prepare(pane.home.path(), nullptr, &err), qPrintable(err.Description));
    const QString start = pane.home.file(QStringLiteral("Start.html"));
    writeFile(start, "an older page");

    // Rewritten at every start, with CR LF line ends and the pictures beside it.
    SaveSetting(SettingKeys::BrowsePopups, QStringLiteral("0"));
    pane.view.InitView();
    const QByteArray page = readFile(start);
    QVERIFY(page.count("\r\n") == page.count('\n') && page.contains("<IMG SRC=logo.gif>"));

    // The engine starts, and the tab's controls are made, only with the tab; they show the page
    // asked for before and the pop-up setting read at start.
    QVERIFY(!pane.browser->View() && !pane.address() && pane.load([&] { pane.view.SelectTab(ctlView::Tab::Browser); }));
    QVERIFY(pane.address()->isVisible() &&
            !pane.browser->findChild<QCheckBox *>(QStringLiteral("chkPopup"))->isChecked());
    // This home's folder is not named Lorekeep: the box shows the page's file address.
    QCOMPARE(std::tuple(pane.view.BrowseURL(), pane.view.BrowsePageTitle(), pane.tabText(), pane.view.windowTitle(),
                        pane.address()->currentText()),
             std::tuple(QStringLiteral("Start Page"), QStringLiteral("Start Page"),
                        QStringLiteral("Web Browser - Start Page"), QStringLiteral("Lorekeep - Start Page"),
                        QUrl::fromLocalFile(start).toString()));
    QVERIFY(pane.imported().Text.contains(QStringLiteral("Lorekeep makes it easy to collect and store")) &&
            picturesShown(pane.browser->View()));
    // Its address serves those three files of the home and nothing else.
    const QUrl served = pane.browser->View()->url();
    // The refused load ends, and then the page that says so ends its own load: wait for both, so that
    // the next load waited for is not the tail of this one.
    QSignalSpy loads(pane.browser->View(), &QWebEngineView::loadFinished);
    pane.browser->View()->load(served.resolved(QUrl(QStringLiteral("lorekeep.lkb"))));
    QTRY_VERIFY_WITH_TIMEOUT(loads.count() >= 2 && loads.last().at(0).toBool(), loadTimeout);
    QCOMPARE(pane.browser->View()->title(), BrowserAddress::FailureTitle());
    // Named as a file, the home's start page is still the program's own.
    QVERIFY(pane.load([&] { pane.view.BrowseNavigate(start); }));
    QCOMPARE(std::pair(pane.view.BrowseURL(), pane.browser->View()->url()),
             std::pair(QStringLiteral("Start Page"), served));

    // In a home named Lorekeep the box names the program, and Go only puts the cursor there.
    const QString named = pane.home.path() + QStringLiteral("Lorekeep/");
    QVERIFY(QDir().mkpath(named));
    SetAppPath(named);
    QVERIFY(pane.load([&] { pane.browser->InitBrowse(); }));
    QCOMPARE(pane.address()->currentText(), QStringLiteral("Lorekeep"));
    QSignalSpy started(pane.browser->View(), &QWebEngineView::loadStarted);
    pane.button("Go")->trigger();
    QVERIFY(pane.address()->hasFocus());
    // The next page asked for is the only one started: Go loaded nothing before it.
    QVERIFY(pane.load([&] { pane.view.BrowseNavigate(server.url(QStringLiteral("/codes")).toString()); }));
    QCOMPARE(started.size(), 1);

    // A folder that refuses the page leaves a record and the browser still goes home.
    SetAppPath(pane.home.path());
    QVERIFY(QFile::remove(start) && QDir().mkdir(start));
    pane.browser->InitBrowse();
    QVERIFY(readFile(pane.home.file(QStringLiteral("error.log"))).contains("InitBrowse"));
}

void tst_browser::pageHistoryImportAndPopups()
{
    Pane pane;
    pane.view.InitView();
    QVERIFY(pane.load([&] { pane.view.SelectTab(ctlView::Tab::Browser); }));
    QVERIFY(!pane.button("Back")->isEnabled() && !pane.button("Forward")->isEnabled());
    pane.view.SelectTab(ctlView::Tab::Files);

    // Opening an address from elsewhere brings the browser tab to the front.
    const QString guide = server.url(QStringLiteral("/guide")).toString();
    QSignalSpy titles(&pane.view, &ctlView::BrowseTitleChange);
    QVERIFY(pane.load([&] { pane.view.BrowseNavigate(guide); }));
    QCOMPARE(std::tuple(int(pane.view.SelectedTab()), pane.view.BrowseURL(), pane.view.BrowsePageTitle(),
                        pane.address()->currentText(), pane.tabText(), titles.last().at(0).toString()),
             std::tuple(2, guide, QStringLiteral("Ninja Drift Guide"), guide, QStringLiteral("Web Browser"),
                        QStringLiteral("Ninja Drift Guide")));
    QVERIFY(!pane.browser->findChild<QProgressBar *>(QStringLiteral("pBar"))->isVisible());
    QTRY_VERIFY(pane.button("Back")->isEnabled() && !pane.button("Stop")->isEnabled());

    // The import hands over address, title and the text as the page shows it, formatted.
    const WebPage page = pane.imported();
    QCOMPARE(std::pair(page.URL, page.Title), std::pair(guide, QStringLiteral("Ninja Drift Guide")));
    const QString text = RtfReader::PlainText(page.Text.toLatin1());
    QVERIFY2(
        text.contains(QRegularExpression(QStringLiteral("First lap: drift early.\\s+Second lap\\s+Café shortcut\\s+All "
                                                        "the codes"))) &&
            page.Text.contains(QStringLiteral("\\b Ninja Drift")) && page.Text.contains(guide.left(20)),
        qPrintable(text));

    // Another page, then back and forward: each button is enabled exactly when its way is open.
    QVERIFY(pane.load([&] { pane.view.BrowseNavigate(server.url(QStringLiteral("/codes")).toString()); }));
    QCOMPARE(pane.view.BrowsePageTitle(), QStringLiteral("Codes"));
    QTRY_VERIFY(pane.button("Back")->isEnabled() && !pane.button("Forward")->isEnabled());
    QVERIFY(pane.load([&] { pane.button("Back")->trigger(); }));
    QCOMPARE(pane.view.BrowsePageTitle(), QStringLiteral("Ninja Drift Guide"));
    QTRY_VERIFY(pane.button("Forward")->isEnabled());
    // A page whose only picture never arrived keeps a link to where it was.
    QVERIFY(pane.load([&] { pane.view.BrowseNavigate(server.url(QStringLiteral("/blank")).toString()); }));
    const QString blank = pane.imported().Text;
    QVERIFY2(RtfReader::PlainText(blank.toLatin1()).trimmed() == QLatin1String("[picture]") &&
                 blank.contains(QStringLiteral("/none.png")),
             qPrintable(blank));
    QVERIFY(pane.load([&] { pane.button("Home")->trigger(); }));
    QCOMPARE(pane.view.BrowseURL(), QStringLiteral("Start Page"));

    // Pop-ups: blocked at first, allowed by the switch.
    ScriptedPrompts prompts;
    auto *check = pane.browser->findChild<QCheckBox *>(QStringLiteral("chkPopup"));
    const auto popupWindows = [] {
        const QWidgetList windows = QApplication::topLevelWidgets();
        return std::count_if(windows.begin(), windows.end(),
                             [](QWidget *w) { return w->objectName() == QLatin1String("brwPopup") && w->isVisible(); });
    };
    QVERIFY(check->isChecked());

    // Blocked: no window, and the switch says so in readable red bold for three seconds.
    const QColor plain = check->palette().color(QPalette::WindowText);
    QVERIFY(pane.load([&] { pane.view.BrowseNavigate(server.url(QStringLiteral("/popup")).toString()); }));
    QTRY_COMPARE(check->text(), QStringLiteral("Disabled!"));
    const QColor notice = check->palette().color(QPalette::WindowText);
    QCOMPARE(std::tuple(notice.hslHue(), notice.hslSaturation() > 200,
                        ContrastRatio(notice, check->palette().color(QPalette::Window)) >= 4.5, check->font().bold(),
                        popupWindows()),
             std::tuple(0, true, true, true, 0));
    QTRY_COMPARE_WITH_TIMEOUT(check->text(), QStringLiteral("Disable Pop-Ups"), 5000);
    QVERIFY(!check->font().bold() && check->palette().color(QPalette::WindowText) == plain);

    // Allowed: the click is saved at once and the page's window opens.
    QTest::mouseClick(check, Qt::LeftButton, {}, QPoint(8, check->height() / 2));
    QCOMPARE(GetSetting(SettingKeys::BrowsePopups), QStringLiteral("0"));
    QVERIFY(pane.load([&] { pane.button("Refresh")->trigger(); }));
    QTRY_COMPARE(popupWindows(), 1);
    QCOMPARE(check->text(), QStringLiteral("Disable Pop-Ups"));
}

void tst_browser::importedPartsAndSnapshot()
{
    Pane pane;
    const QString address = server.url(QStringLiteral("/article")).toString();
    QVERIFY(pane.load([&] { pane.view.BrowseNavigate(address); }));
    QTRY_VERIFY(server.requests().contains(QStringLiteral("/ping")));

    // The article alone, its list kept; the whole page with its menu and footer.
    const WebPage article = pane.imported();
    const QString articleText = RtfReader::PlainText(article.Text.toLatin1());
    QVERIFY2(articleText.contains(QStringLiteral("Brake before the hairpin")) &&
                 articleText.contains(QStringLiteral("Hard tyres on tarmac")) &&
                 !articleText.contains(QStringLiteral("Forums")) && !articleText.contains(QStringLiteral("footer")),
             qPrintable(articleText));
    QVERIFY(article.Snapshot.contains("Only this paragraph") && article.Captured.isValid());
    const QString whole = RtfReader::PlainText(pane.imported("mnuImportWhole").Text.toLatin1());
    QVERIFY2(whole.contains(QStringLiteral("Forums")) && whole.contains(QStringLiteral("Copyright footer")),
             qPrintable(whole));

    // The selection is offered once there is one, and only it is taken.
    QVERIFY(!pane.offersSelection());
    pane.browser->View()->page()->runJavaScript(
        QStringLiteral("var r = document.createRange(); r.selectNodeContents(document.getElementById('pick'));"
                       "getSelection().removeAllRanges(); getSelection().addRange(r);"),
        QWebEngineScript::ApplicationWorld);
    QTRY_VERIFY(pane.browser->View()->hasSelection());
    QVERIFY(pane.offersSelection());
    QCOMPARE(RtfReader::PlainText(pane.imported("mnuImportSelection").Text.toLatin1()).trimmed(),
             QStringLiteral("Only this paragraph"));

    // The snapshot shows offline: nothing is asked of the server, the page's script does not run, and
    // the box and status line name the page it was taken from. The next page runs its scripts again.
    SnapshotRow row;
    row.auto_id = 7;
    row.address = address;
    row.captured = article.Captured;
    row.mhtml = article.Snapshot;
    const int asked = int(server.requests().size());
    QVERIFY(pane.load([&] { pane.browser->ShowSnapshot(row); }));
    QTRY_VERIFY(pane.browser->findChild<QLabel *>(QStringLiteral("lblStatus"))
                    ->text()
                    .startsWith(QStringLiteral("Snapshot of ") + address));
    QVariant shown;
    pane.browser->View()->page()->toPlainText([&shown](const QString &text) { shown = text; });
    QTRY_VERIFY(shown.isValid());
    QVERIFY(shown.toString().contains(QStringLiteral("Only this paragraph")));
    QCOMPARE(std::pair(pane.address()->currentText(), pane.view.BrowseURL()), std::pair(address, address));
    QTest::qWait(300);
    QCOMPARE(server.requests().size(), asked);
    QVERIFY(pane.load([&] { pane.view.BrowseNavigate(address); }));
    QTRY_VERIFY(server.requests().count(QStringLiteral("/ping")) == 2);
}

void tst_browser::pageReachesNoFiles()
{
    // A probe of the store and of pictures, as the start page and from the web, tells in its title what it got.
    Pane pane;
    ErrObject err;
    QVERIFY2(HomeFolder::Prepare(pane.home.path(), nullptr, &err), qPrintable(err.Description));
    QTemporaryDir pages;
    // STORE stands for the store's address, FAR for a picture's outside the page's folder.
    const QByteArray probe =
        QByteArray(R"html(<html><body><script>var said = {}, order = ['xhr', 'frame', 'own', 'far'];
function tell(how, what) { said[how] = what; if (Object.keys(said).length == order.length)
  document.title = order.map(function(k) { return k + ':' + said[k]; }).join(' '); }
var x = new XMLHttpRequest(); x.onload = function() { tell('xhr', 'read ' + x.responseText.length); };
x.onerror = function() { tell('xhr', 'refused'); };
try { x.open('GET', 'STORE'); x.send(); } catch (e) { tell('xhr', 'refused'); }
window.addEventListener('load', function() { try { var t = frames[0].document.body.textContent;
  tell('frame', t.length > 100 ? 'read ' + t.length : 'refused'); } catch (e) { tell('frame', 'refused'); } });
</script><img src="logo.gif" onload="tell('own','shown')" onerror="tell('own','refused')">
<img src="FAR" onload="tell('far','shown')" onerror="tell('far','refused')"><iframe src='STORE'></iframe></body></html>)html")
            .replace("STORE", QUrl::fromLocalFile(pane.home.storePath()).toEncoded())
            .replace("FAR", QUrl::fromLocalFile(pane.home.file(QStringLiteral("logo.gif"))).toEncoded());
    const QString local = pages.filePath(QStringLiteral("probe.html"));
    writeFile(local, probe);
    QVERIFY(QFile::copy(QStringLiteral(":/bundle/logo.gif"), pages.filePath(QStringLiteral("logo.gif"))));
    SaveSetting(SettingKeys::BrowsStart, local);
    server.addPage(QStringLiteral("/probe"), probe);
    pane.view.InitView();
    QVERIFY(pane.load([&] { pane.view.SelectTab(ctlView::Tab::Browser); }));
    QCOMPARE(pane.browser->View()->url(), QUrl::fromLocalFile(local));
    QTRY_COMPARE_WITH_TIMEOUT(pane.browser->View()->title(),
                              QStringLiteral("xhr:refused frame:refused own:shown far:refused"), loadTimeout);
    QVERIFY(pane.load([&] { pane.view.BrowseNavigate(server.url(QStringLiteral("/probe")).toString()); }));
    QTRY_COMPARE_WITH_TIMEOUT(pane.browser->View()->title(),
                              QStringLiteral("xhr:refused frame:refused own:refused far:refused"), loadTimeout);
}

void tst_browser::filesAndAddressesAllowed()
{
    // Which files a page may load, and as what; pageReachesNoFiles sees the engine hold to it.
    using Info = QWebEngineUrlRequestInfo;
    QTemporaryDir dir;
    QVERIFY(QDir().mkpath(dir.filePath(QStringLiteral("guide/img"))));
    writeFile(dir.filePath(QStringLiteral("secret.gif")), "GIF89a");
    QVERIFY(QFile::link(dir.filePath(QStringLiteral("secret.gif")), dir.filePath(QStringLiteral("guide/link.gif"))));
    const auto file = [&dir](const char *name) {
        return QUrl::fromLocalFile(dir.filePath(QLatin1String(name)));
    };
    const QUrl page = file("guide/page.html");
    const QUrl web(QStringLiteral("http://127.0.0.1/page"));
    const std::tuple<QUrl, Info::ResourceType, QUrl, bool> rows[] = {
        {file("guide/img/b.png"), Info::ResourceTypeImage, page, true},
        {QUrl(page.toString() + QStringLiteral("/../../secret.gif")), Info::ResourceTypeImage, page, false},
        {file("guide/link.gif"), Info::ResourceTypeImage, page, false},
        {file("guidebook/a.gif"), Info::ResourceTypeImage, page, false},
        {file("guide/a.gif"), Info::ResourceTypeXhr, page, false},
        {file("guide/a.html"), Info::ResourceTypeSubFrame, page, false},
        {file("guide/other.html"), Info::ResourceTypeMainFrame, page, true},
        {web, Info::ResourceTypeXhr, page, true},
    };
    for (const auto &[target, type, from, allowed] : rows)
        QVERIFY2(FileRequestFilter::Allowed(target, type, from) == allowed, qPrintable(target.toString()));

    // What typed text is taken for; what is refused, and why.
    const std::tuple<const char *, const char *, const char *> typings[] = {
        {" 127.0.0.1:8080/codes ", "http://127.0.0.1:8080/codes", ""},
        {"/tmp/a b.html", "file:///tmp/a b.html", ""},
        {"http://[::1]:8080/", "http://[::1]:8080/", ""},
        {"http://[::zz", "", "not a valid address"},
        {"http://", "", "names no server after \"http://\""},
        {"not an address", "", "neither a web address nor the path of a file"},
        {"   ", "", "no address"},
    };
    for (const auto &[typed, address, problem] : typings) {
        QString said;
        const QUrl url = BrowserAddress::Read(QString::fromUtf8(typed), &said);
        QVERIFY2(url.toString() == QLatin1String(address) && said.isEmpty() == !*problem &&
                     said.contains(QLatin1String(problem)),
                 typed);
    }
}

void tst_browser::addressBoxAndFavorites()
{
    Pane pane;
    ScriptedPrompts prompts;
    pane.view.InitView();
    QVERIFY(pane.load([&] { pane.view.SelectTab(ctlView::Tab::Browser); }));
    QLineEdit *line = pane.address()->lineEdit();

    // A click into the box selects the whole address, so that typing replaces it.
    pane.view.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&pane.view));
    pane.browser->View()->setFocus();
    QTRY_VERIFY(!pane.address()->hasFocus() && !line->hasSelectedText());
    QTest::mouseClick(line, Qt::LeftButton, {}, line->rect().center());
    QTRY_COMPARE(line->selectedText(), pane.address()->currentText());

    // Typed as a browser's address line takes it; Enter goes there.
    const QUrl codes = server.url(QStringLiteral("/codes"));
    pane.address()->setEditText(QStringLiteral("127.0.0.1:%1/codes").arg(codes.port()));
    QVERIFY(pane.load([&] { QTest::keyClick(line, Qt::Key_Return); }));
    QCOMPARE(std::pair(pane.view.BrowseURL(), pane.address()->count()), std::pair(codes.toString(), 0));

    // An address that names nothing: the user is told which and why, once, and the box keeps it.
    const QString typed = QStringLiteral("http://[::zz");
    prompts.answerMsgBox(MsgResult::OK);
    pane.address()->setEditText(typed);
    QTest::keyClick(line, Qt::Key_Return);
    QVERIFY2(prompts.last().text.startsWith(QStringLiteral("The address \"%1\" cannot be opened: ").arg(typed)),
             qPrintable(prompts.last().text));
    QCOMPARE(std::tuple(pane.address()->currentText(), pane.view.BrowseURL()), std::tuple(typed, codes.toString()));

    // A page that cannot be opened is replaced by one naming address and reason; the box keeps the address.
    const QString failing = QStringLiteral("http://127.0.0.1:1/guide");
    pane.address()->setEditText(failing);
    pane.button("Go")->trigger();
    QTRY_COMPARE_WITH_TIMEOUT(pane.browser->View()->title(), BrowserAddress::FailureTitle(), loadTimeout);
    QTRY_COMPARE(std::tuple(pane.address()->currentText(), pane.view.BrowseURL(),
                            pane.browser->findChild<QLabel *>(QStringLiteral("lblStatus"))->text()),
                 std::tuple(failing, failing, QStringLiteral("The page could not be opened.")));
    const QString page = pane.imported().Text;
    QVERIFY2(page.contains(failing) && page.contains(QStringLiteral("another kind of service")), qPrintable(page));

    // A favorite: everything is stored trimmed; the message quotes the stored title.
    const QUrl url = server.url(QStringLiteral("/guide"));
    {
        frmFavorite dialog(QStringLiteral(" ") + url.toString(), QStringLiteral("  Ninja Drift Guide "));
        dialog.setStore(&pane.home.store());
        QSignalSpy added(&dialog, &frmFavorite::AddFavorite);
        prompts.answerMsgBox(MsgResult::OK);
        dialog.findChild<QLineEdit *>(QStringLiteral("txtDesc"))->setText(QStringLiteral(" Best guide  "));
        dialog.findChild<QPushButton *>(QStringLiteral("cmdOK"))->click();
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QSqlQuery row(QStringLiteral("SELECT 'K_' || auto_id, url, title, desc FROM favorites"), pane.home.db());
        QVERIFY(row.next());
        const QVariantList expected{row.value(0).toString(), url.toString(), QStringLiteral("Ninja Drift Guide"),
                                    QStringLiteral("Best guide")};
        QCOMPARE(
            std::tuple(added.value(0), QVariantList({row.value(1), row.value(2), row.value(3)}), prompts.last().text),
            std::tuple(expected, expected.mid(1), QStringLiteral("\"Ninja Drift Guide\" has been added.")));
    }

    // A store that refuses the row: the user is told, and the dialog stays for another try.
    frmFavorite dialog(QStringLiteral("Start Page"), QStringLiteral("Start Page"));
    dialog.setStore(&pane.home.store());
    QSqlQuery(pane.home.db()).exec(QStringLiteral("DROP TABLE favorites"));
    prompts.answerMsgBox(MsgResult::OK);
    dialog.show();
    dialog.findChild<QPushButton *>(QStringLiteral("cmdOK"))->click();
    QCOMPARE(std::pair(dialog.isVisible(), prompts.last().icon), std::pair(true, MsgIcon::Critical));
    QVERIFY(readFile(pane.home.file(QStringLiteral("error.log"))).contains("cmdOK_Click"));
}

QTEST_MAIN(tst_browser)
#include "tst_browser.moc"
