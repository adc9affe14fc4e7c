#pragma once

#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QTest>
#include <QTimer>

// Once the next command has put up the modal dialog `name` (any name when null; the panes name
// their selectors apart), a `Dialog`, runs `work` on it as the user would, then closes it if `work`
// left it open.
template <typename Dialog = QDialog, typename Work> void whenModal(const char *name, Work work)
{
    QTimer::singleShot(0, [name, work] {
        auto *dialog = qobject_cast<Dialog *>(QApplication::activeModalWidget());
        QVERIFY(dialog);
        if (name)
            QCOMPARE(dialog->objectName(), QLatin1String(name));
        work(dialog);
        if (dialog->isVisible())
            dialog->reject();
    });
}

// The same for a dialog that comes up only after work with a progress window of its own, whose event
// loop runs first: `work` runs once the modal `Dialog` named `name` is up. Failing to come up within
// five seconds fails the test.
template <typename Dialog, typename Work> void whenModalShown(const char *name, Work work)
{
    auto *poll = new QTimer;
    auto *deadline = new QElapsedTimer;
    deadline->start();
    QObject::connect(poll, &QTimer::timeout, [=] {
        auto *dialog = qobject_cast<Dialog *>(QApplication::activeModalWidget());
        const bool up = dialog && dialog->objectName() == QLatin1String(name) && dialog->isVisible();
        if (!up && deadline->elapsed() < 5000)
            return;
        poll->deleteLater();
        delete deadline;
        QVERIFY2(up, name);
        work(dialog);
        if (dialog->isVisible())
            dialog->reject();
    });
    poll->start(10);
}
