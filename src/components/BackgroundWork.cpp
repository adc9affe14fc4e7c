#include "BackgroundWork.h"

#include <QEventLoop>
#include <QFutureWatcher>
#include <QProgressDialog>
#include <QScopeGuard>
#include <QTimer>
#include <QtConcurrent>

#include <atomic>
#include <memory>

namespace {

constexpr int progressDelayMs = 500;
constexpr int refreshMs = 100;

int running = 0;

// What the worker reports, read by the window's thread on a timer.
struct Shared
{
    std::atomic<int> stage{0};
    std::atomic<qint64> done{0};
    std::atomic<qint64> total{0};
    std::atomic<bool> cancelled{false};
};

} // namespace

bool BackgroundWork::Busy()
{
    return running > 0;
}

BackgroundWork::Outcome BackgroundWork::Run(QWidget *window, const QString &title, const Work &work,
                                            const Describe &describe, QString *error)
{
    ++running;
    const auto done = qScopeGuard([] { --running; });
    Shared shared;
    QString workError;
    const auto report = [&shared](const Step &step) {
        shared.stage = step.stage;
        shared.total = step.total;
        shared.done = step.done;
        return !shared.cancelled;
    };
    QFutureWatcher<bool> watcher;
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
    watcher.setFuture(QtConcurrent::run([&] { return work(report, &workError); }));

    std::unique_ptr<QProgressDialog> dialog;
    QTimer refresh;
    QObject::connect(&refresh, &QTimer::timeout, &loop, [&] {
        if (!dialog) {
            dialog = std::make_unique<QProgressDialog>(window);
            dialog->setWindowTitle(title);
            dialog->setWindowModality(Qt::WindowModal);
            dialog->setMinimumDuration(0);
            dialog->setAutoClose(false);
            dialog->setAutoReset(false);
            dialog->setMinimumWidth(380);
            QObject::connect(dialog.get(), &QProgressDialog::canceled, &loop, [&] {
                shared.cancelled = true;
                dialog->setLabelText(QStringLiteral("Stopping..."));
                dialog->setCancelButton(nullptr);
            });
            dialog->show();
            refresh.setInterval(refreshMs);
            loop.quit(); // to take the user's input again, for Cancel
        }
        if (shared.cancelled)
            return;
        const Shown shown = describe({shared.stage, shared.done, shared.total});
        dialog->setRange(0, shown.value < 0 ? 0 : 1000);
        if (shown.value >= 0)
            dialog->setValue(std::min(shown.value, 1000));
        dialog->setLabelText(shown.text);
    });
    refresh.start(progressDelayMs);
    if (!watcher.isFinished())
        // Until the dialog is up nothing blocks the window, so the user's clicks wait for it.
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    while (!watcher.isFinished() && dialog)
        loop.exec();
    watcher.waitForFinished();
    refresh.stop();

    if (shared.cancelled)
        return Outcome::Cancelled;
    if (!watcher.result()) {
        *error = workError;
        return Outcome::Failed;
    }
    return Outcome::Done;
}
