#pragma once

#include <QApplication>
#include <QDialog>
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
