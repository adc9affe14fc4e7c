#include "PageCapture.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QPointer>
#include <QTemporaryDir>
#include <QTimer>
#include <QVariantMap>
#include <QWebEngineDownloadRequest>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineScript>

// Outside any namespace, as Qt's resource macro requires.
static void initCaptureResources()
{
    Q_INIT_RESOURCE(readability);
}

namespace {

Q_LOGGING_CATEGORY(lcCapture, "lorekeep.webpage")

QString resourceText(const QString &name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        qCCritical(lcCapture) << "missing resource" << name;
    return QString::fromUtf8(file.readAll());
}

// Readability and our script as one expression that gives the part taken.
QString captureScript(PagePart part)
{
    static const QString head = [] {
        initCaptureResources();
        QString text = QStringLiteral("(function () {\n");
        text.append(resourceText(QStringLiteral(":/readability/Readability.js")));
        text.append(QStringLiteral("\nreturn ("));
        text.append(resourceText(QStringLiteral(":/webpage/PageCapture.js")));
        text.append(QStringLiteral(")(\""));
        return text;
    }();
    const QString name = part == PagePart::Article     ? QStringLiteral("article")
                         : part == PagePart::Selection ? QStringLiteral("selection")
                                                       : QStringLiteral("whole");
    QString script = head;
    script.append(name);
    script.append(QStringLiteral("\", Readability);\n})()"));
    return script;
}

const QString &settleScript()
{
    static const QString script = [] {
        initCaptureResources();
        return resourceText(QStringLiteral(":/webpage/PageSettle.js"));
    }();
    return script;
}

constexpr int settlePollMs = 150;

QString escaped(const QString &text)
{
    return text.toHtmlEscaped();
}

// One capture under way: the answer of the page's script world and the snapshot, each with its own
// time limit; done once both are in.
class CaptureJob final : public QObject
{
public:
    CaptureJob(QWebEnginePage *page, PagePart part, QObject *context, PageCapture::Done done)
        : m_page(page), m_part(part), m_context(context), m_hasContext(context != nullptr), m_done(std::move(done))
    {
        m_result.address = page->url();
        m_result.part = part;
        m_result.captured = QDateTime::currentDateTimeUtc();
    }

    void start()
    {
        // A selection is what the reader sees now; anything else waits for the page to settle.
        if (m_part == PagePart::Selection) {
            take();
            return;
        }
        QTimer::singleShot(PageCapture::SettleTimeoutMs, this, [this] {
            if (!m_settled)
                settled();
        });
        askSettled();
    }

private:
    void askSettled()
    {
        QPointer<CaptureJob> self(this);
        m_page->runJavaScript(settleScript(), QWebEngineScript::ApplicationWorld, [self](const QVariant &value) {
            if (!self || self->m_settled)
                return;
            if (value.toBool())
                self->settled();
            else
                QTimer::singleShot(settlePollMs, self, [self] {
                    if (self && !self->m_settled && self->m_page)
                        self->askSettled();
                });
        });
    }

    void settled()
    {
        m_settled = true;
        take();
    }

    void take()
    {
        if (!m_page) {
            m_answered = m_saved = true;
            fail(QStringLiteral("The page was closed."));
            finishIfDone();
            return;
        }
        QPointer<CaptureJob> self(this);
        QTimer::singleShot(PageCapture::AnswerTimeoutMs, this, [this] {
            if (!m_answered)
                answer(QVariant(), true);
        });
        m_page->runJavaScript(captureScript(m_part), QWebEngineScript::ApplicationWorld, [self](const QVariant &value) {
            if (self && !self->m_answered)
                self->answer(value, false);
        });
        startSnapshot();
    }

    void answer(const QVariant &value, bool timedOut)
    {
        m_answered = true;
        const QVariantMap taken = value.toMap();
        if (timedOut) {
            fail(QStringLiteral("The page did not answer within %1 seconds.").arg(PageCapture::AnswerTimeoutMs / 1000));
        } else if (taken.value(QStringLiteral("error")).toString() == QLatin1String("noselection")) {
            m_err = {ErrNumber::NoObject, QStringLiteral("Select some text on the page first.")};
        } else if (!taken.contains(QStringLiteral("html"))) {
            fail(QStringLiteral("The page could not be read."));
        } else {
            keep(taken);
        }
        finishIfDone();
    }

    void fail(const QString &why) { m_err = {ErrNumber::PageNoAnswer, why}; }

    void keep(const QVariantMap &taken)
    {
        const QString kind = taken.value(QStringLiteral("part")).toString();
        const QString address = taken.value(QStringLiteral("address")).toString();
        if (!address.isEmpty())
            m_result.address = QUrl(address);
        QString title = taken.value(QStringLiteral("pageTitle")).toString().simplified();
        QString html = taken.value(QStringLiteral("html")).toString();
        if (kind == QLatin1String("article")) {
            m_result.part = PagePart::Article;
            const QString articleTitle = taken.value(QStringLiteral("title")).toString().simplified();
            if (!articleTitle.isEmpty())
                title = articleTitle;
            const QString byline = taken.value(QStringLiteral("byline")).toString().simplified();
            QString head =
                title.isEmpty() ? QString() : QStringLiteral("<h1>") + escaped(title) + QStringLiteral("</h1>");
            if (!byline.isEmpty())
                head += QStringLiteral("<p><i>") + escaped(byline) + QStringLiteral("</i></p>");
            html = head + html;
        } else {
            m_result.part = kind == QLatin1String("selection") ? PagePart::Selection : PagePart::WholePage;
        }
        m_result.title = title.isEmpty() ? m_result.address.toString() : title;
        m_result.html = html;
    }

    void startSnapshot()
    {
        if (!m_folder.isValid()) {
            snapshotDone(QStringLiteral("no temporary folder"));
            return;
        }
        m_path = m_folder.filePath(QStringLiteral("page.mhtml"));
        QTimer::singleShot(PageCapture::AnswerTimeoutMs, this, [this] {
            if (!m_saved)
                snapshotDone(QStringLiteral("not saved within %1 seconds").arg(PageCapture::AnswerTimeoutMs / 1000));
        });
        connect(m_page->profile(), &QWebEngineProfile::downloadRequested, this,
                [this](QWebEngineDownloadRequest *request) {
                    if (request->page() != m_page || !request->isSavePageDownload() || m_saved)
                        return;
                    m_request = request;
                    if (request->state() == QWebEngineDownloadRequest::DownloadRequested) {
                        request->setDownloadDirectory(m_folder.path());
                        request->setDownloadFileName(QStringLiteral("page.mhtml"));
                        request->setSavePageFormat(QWebEngineDownloadRequest::MimeHtmlSaveFormat);
                        request->accept();
                    }
                    connect(request, &QWebEngineDownloadRequest::isFinishedChanged, this,
                            [this, request] { requestFinished(request); });
                    if (request->isFinished())
                        requestFinished(request);
                });
        m_page->save(m_path, QWebEngineDownloadRequest::MimeHtmlSaveFormat);
    }

    void requestFinished(QWebEngineDownloadRequest *request)
    {
        if (m_saved || !request->isFinished())
            return;
        if (request->state() != QWebEngineDownloadRequest::DownloadCompleted) {
            snapshotDone(request->interruptReasonString());
            return;
        }
        QFile file(QDir(request->downloadDirectory()).filePath(request->downloadFileName()));
        if (file.open(QIODevice::ReadOnly))
            m_result.mhtml = file.readAll();
        snapshotDone(m_result.mhtml.isEmpty() ? QStringLiteral("the saved file is empty") : QString());
    }

    void snapshotDone(const QString &failure)
    {
        m_saved = true;
        if (!failure.isEmpty())
            qCWarning(lcCapture).noquote() << "no snapshot of" << m_result.address.toString() << ":" << failure;
        if (m_request && !m_request->isFinished())
            m_request->cancel();
        finishIfDone();
    }

    void finishIfDone()
    {
        if (!m_answered || !m_saved || m_finished)
            return;
        m_finished = true;
        if (m_err.isError())
            m_result = CapturedPage{m_result.address, {}, {}, m_part, {}, m_result.captured};
        QObject *target = m_hasContext ? m_context.data() : QCoreApplication::instance();
        if (target) {
            QMetaObject::invokeMethod(
                target, [done = m_done, result = m_result, err = m_err] { done(result, err); }, Qt::QueuedConnection);
        }
        deleteLater();
    }

    QPointer<QWebEnginePage> m_page;
    PagePart m_part;
    QPointer<QObject> m_context;
    bool m_hasContext;
    PageCapture::Done m_done;
    CapturedPage m_result;
    ErrObject m_err;
    QTemporaryDir m_folder;
    QString m_path;
    QPointer<QWebEngineDownloadRequest> m_request;
    bool m_settled = false;
    bool m_answered = false;
    bool m_saved = false;
    bool m_finished = false;
};

} // namespace

void PageCapture::Capture(QWebEnginePage *page, PagePart part, QObject *context, Done done)
{
    if (!page) {
        QObject *target = context ? context : QCoreApplication::instance();
        QMetaObject::invokeMethod(
            target,
            [done] {
                done({}, ErrObject{ErrNumber::NoObject, QStringLiteral("There is no page to take.")});
            },
            Qt::QueuedConnection);
        return;
    }
    (new CaptureJob(page, part, context, std::move(done)))->start();
}
