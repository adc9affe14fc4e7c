// Pages loaded without a window and taken as their article, their whole body or a selection, each
// with its snapshot; pages that do not load; and a page whose scripts try to spoil the capture.

#include "LocalWebServer.h"
#include "webpage/BrowserProfile.h"
#include "webpage/PageCapture.h"
#include "webpage/PageLoader.h"
#include "webpage/StartPageScheme.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>
#include <QTimer>
#include <QWebEnginePage>

namespace {

const bool engineSetUp = [] {
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    StartPageScheme::Register();
    return true;
}();

QByteArray fixture(const QString &name)
{
    QFile file(QStringLiteral(LOREKEEP_FIXTURES "/pages/") + name);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("missing fixture %s", qPrintable(name));
    return file.readAll();
}

struct Taken
{
    CapturedPage page;
    ErrObject err;
    int calls = 0;
};

// Waits for `start` to call back; a capture that never answers fails the test. The engine works in
// the event loop, which QTest::qWaitFor would leave asleep most of the time.
Taken waitFor(const std::function<void(PageCapture::Done)> &start, int timeoutMs = 40000)
{
    auto taken = std::make_shared<Taken>();
    QEventLoop loop;
    start([taken, &loop](const CapturedPage &page, const ErrObject &err) {
        taken->page = page;
        taken->err = err;
        ++taken->calls;
        loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    if (taken->calls == 0)
        loop.exec();
    return *taken;
}

Taken load(PageLoader &loader, const QUrl &address, PagePart part, int timeoutMs = 30000)
{
    return waitFor([&](PageCapture::Done done) { loader.Load(address, part, std::move(done), timeoutMs); });
}

// Words of the page that must not come along: the page's furniture.
const QStringList furniture{QStringLiteral("NavigationGuides"), QStringLiteral("SidebarGoldCoins"),
                            QStringLiteral("CommentByGamer99"), QStringLiteral("FooterCopyright")};

} // namespace

class tst_pagecapture final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void articleWholePageAndSnapshot();
    void selection();
    void pagesThatDoNotLoad();
    void hostilePage();
    void pageThatSettlesLate();

private:
    LocalWebServer m_server;
};

void tst_pagecapture::initTestCase()
{
    m_server.addPage(QStringLiteral("/guides/caverns.html"), fixture(QStringLiteral("walkthrough.html")));
    m_server.addPage(QStringLiteral("/guides/map.png"), fixture(QStringLiteral("map.png")), "image/png");
    m_server.addPage(QStringLiteral("/cafe.html"), fixture(QStringLiteral("cp1252.html")), "text/html");
    m_server.addPage(QStringLiteral("/codes.html"), fixture(QStringLiteral("hostile.html")));
    m_server.addPage(QStringLiteral("/late/notes.html"), fixture(QStringLiteral("late.html")));
    for (const char *picture : {"/late/canyon.png", "/late/harbour.png"})
        m_server.addPage(QLatin1String(picture), fixture(QStringLiteral("map.png")), "image/png");
    m_server.addPage(QStringLiteral("/short.html"), "<html><head><title>Tiny</title></head><body><p>Hello "
                                                    "there.</p><p hidden>Gone</p></body></html>");
}

// One loader, several pages in a row: the article alone, a page in another encoding, the whole
// page as shown, and a page too short to hold an article.
void tst_pagecapture::articleWholePageAndSnapshot()
{
    PageLoader loader;
    const QUrl caverns = m_server.url(QStringLiteral("/guides/caverns.html"));
    Taken article = load(loader, caverns, PagePart::Article);
    QCOMPARE(
        std::tuple(article.err.Description, article.calls, article.page.part, article.page.title, article.page.address),
        std::tuple(QString(), 1, PagePart::Article, QStringLiteral("Crystal Caverns Walkthrough, Floor by Floor"),
                   caverns));
    const QString &html = article.page.html;
    QVERIFY2(html.startsWith(
                 QStringLiteral("<h1>Crystal Caverns Walkthrough, Floor by Floor</h1><p><i>Mira Holloway</i></p>")),
             qPrintable(html.left(300)));
    QCOMPARE(html.count(QStringLiteral("Floor by Floor")), 1);
    for (const char *kept : {"Blue Lantern (from the lighthouse keeper)", "<ol", "<table", "Silver Ring",
                             "<b>Prism Guardian</b>", "South-west brazier"})
        QVERIFY2(html.contains(QLatin1String(kept)), kept);
    // Pictures by their absolute address, which the snapshot knows them by.
    const QString picture = m_server.url(QStringLiteral("/guides/map.png")).toString();
    QVERIFY(html.contains(QStringLiteral("src=\"") + picture));
    for (const QString &dropped : furniture)
        QVERIFY2(!html.contains(dropped), qPrintable(dropped));
    QVERIFY(article.page.captured.isValid() && article.page.captured.timeSpec() == Qt::UTC);

    // The snapshot holds the page and its picture.
    const QByteArray &mhtml = article.page.mhtml;
    QVERIFY(mhtml.contains(QByteArray(QByteArray("Content-Location: ") + caverns.toEncoded())));
    const qsizetype part = mhtml.indexOf(QByteArray(QByteArray("Content-Location: ") + picture.toUtf8()));
    QVERIFY(part > 0 && mhtml.mid(part - 100, 100).contains("Content-Type: image/png"));

    const Taken cafe = load(loader, m_server.url(QStringLiteral("/cafe.html")), PagePart::Article);
    QCOMPARE(cafe.page.title, QStringLiteral("Café Chronicles – Review"));
    for (const QString &kept : {QStringLiteral("crème brûlée"), QStringLiteral("€14.99"), QStringLiteral("“Café")})
        QVERIFY2(cafe.page.html.contains(kept), qPrintable(kept));

    const Taken whole = load(loader, caverns, PagePart::WholePage);
    QCOMPARE(whole.page.part, PagePart::WholePage);
    for (const QString &kept : furniture + QStringList{QStringLiteral("Prism Guardian")})
        QVERIFY2(whole.page.html.contains(kept), qPrintable(kept));
    for (const char *hidden : {"SecretEnding", "InvisibleNote", "<style", "<script"})
        QVERIFY2(!whole.page.html.contains(QLatin1String(hidden)), hidden);

    const Taken tiny = load(loader, m_server.url(QStringLiteral("/short.html")), PagePart::Article);
    QCOMPARE(std::tuple(tiny.page.part, tiny.page.title), std::tuple(PagePart::WholePage, QStringLiteral("Tiny")));
    QVERIFY(tiny.page.html.contains(QLatin1String("Hello there.")) && !tiny.page.html.contains(QLatin1String("Gone")));
}

void tst_pagecapture::selection()
{
    QWebEnginePage page(BrowserProfile::Instance());
    QSignalSpy loaded(&page, &QWebEnginePage::loadFinished);
    page.load(m_server.url(QStringLiteral("/guides/caverns.html")));
    QVERIFY(loaded.wait(20000) && loaded.first().first().toBool());
    const auto capture = [&page](PageCapture::Done done) {
        PageCapture::Capture(&page, PagePart::Selection, &page, std::move(done));
    };

    const Taken none = waitFor(capture);
    QCOMPARE(none.err.Description, QStringLiteral("Select some text on the page first."));

    // The user selects the first list and the paragraph after it.
    bool selected = false;
    page.runJavaScript(QStringLiteral("var r = document.createRange();"
                                      "r.setStartBefore(document.querySelector('article ul'));"
                                      "r.setEndAfter(document.querySelectorAll('article h2')[1]);"
                                      "getSelection().addRange(r); true"),
                       [&selected](const QVariant &v) { selected = v.toBool(); });
    QTRY_VERIFY(selected);
    const Taken chosen = waitFor(capture);
    QCOMPARE(chosen.err.Number, 0);
    QCOMPARE(chosen.page.part, PagePart::Selection);
    QVERIFY(chosen.page.html.contains(QLatin1String("<li>The reforged pickaxe</li>")));
    QVERIFY(chosen.page.html.contains(QLatin1String("The upper hall")));
    QVERIFY(!chosen.page.html.contains(QLatin1String("Prism")));
    QVERIFY(!chosen.page.mhtml.isEmpty());
}

void tst_pagecapture::pagesThatDoNotLoad()
{
    PageLoader loader;
    const QUrl missing = m_server.url(QStringLiteral("/no/such/page.html"));
    const Taken notFound = load(loader, missing, PagePart::Article);
    QCOMPARE(notFound.err.Description, QStringLiteral("The page %1 was not found (HTTP 404).").arg(missing.toString()));
    QCOMPARE(std::tuple(notFound.err.Number, notFound.page.html), std::tuple(ErrNumber::PageNotLoaded, QString()));

    QTcpServer closed;
    QVERIFY(closed.listen(QHostAddress::LocalHost));
    const QUrl refused(QStringLiteral("http://127.0.0.1:%1/").arg(closed.serverPort()));
    closed.close();
    QVERIFY2(load(loader, refused, PagePart::Article).err.Description.contains(QLatin1String("refused")), "refused");

    // A server that takes the connection and never answers.
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const QUrl slow(QStringLiteral("http://127.0.0.1:%1/slow").arg(silent.serverPort()));
    QCOMPARE(load(loader, slow, PagePart::Article, 1500).err.Description,
             QStringLiteral("The page %1 did not load within 2 seconds.").arg(slow.toString()));
}

// The page redefines what scripts lean on, reads files, and hides code in links and handlers:
// the capture is the same as on a tame page, and nothing of the page's code comes back.
void tst_pagecapture::hostilePage()
{
    PageLoader loader;
    for (const PagePart part : {PagePart::Article, PagePart::WholePage}) {
        const Taken taken = load(loader, m_server.url(QStringLiteral("/codes.html")), part);
        QCOMPARE(taken.err.Number, 0);
        QCOMPARE(std::tuple(taken.page.part, taken.page.title),
                 std::tuple(part, QStringLiteral("Totally Normal Cheat Codes")));
        const QString &html = taken.page.html;
        for (const char *kept : {"hidden arena after the credits", "<li>Every weapon: up, up, down",
                                 "They do not work in the remake", "Hover for more secrets"})
            QVERIFY2(html.contains(QLatin1String(kept)), kept);
        for (const char *gone :
             {"Hostile", "root:", "<script", "<iframe", "javascript:", "onerror", "onclick", "onmouseover", "onload"})
            QVERIFY2(!html.contains(QLatin1String(gone), Qt::CaseInsensitive), gone);
        QVERIFY(!taken.page.mhtml.contains("root:x:0"));
    }
}

// A page that builds its text after it has loaded and keeps its pictures until they are scrolled to:
// taken once the text is there, with both pictures in the article and the snapshot.
void tst_pagecapture::pageThatSettlesLate()
{
    PageLoader loader;
    for (const PagePart part : {PagePart::Article, PagePart::WholePage}) {
        const Taken taken = load(loader, m_server.url(QStringLiteral("/late/notes.html")), part);
        QCOMPARE(std::tuple(taken.err.Number, taken.page.part), std::tuple(0, part));
        const QString &html = taken.page.html;
        QVERIFY2(html.contains(QLatin1String("Fixed the lap counter skipping lap 12")), qPrintable(html.left(300)));
        QVERIFY(!html.contains(QLatin1String("Loading")));
        QVERIFY2(html.contains(QLatin1String("Page state: visible.")), "the page thinks it is hidden");
        for (const char *name : {"/late/canyon.png", "/late/harbour.png"}) {
            const QByteArray address = m_server.url(QLatin1String(name)).toEncoded();
            QVERIFY2(html.contains(QStringLiteral("src=\"%1\"").arg(QLatin1String(address))), name);
            QVERIFY2(taken.page.mhtml.contains(QByteArray(QByteArray("Content-Location: ") + address)), name);
        }
    }
}

QTEST_MAIN(tst_pagecapture)
#include "tst_pagecapture.moc"
