#include "modMain.h"

#include "base/AppPath.h"
#include "frmMain.h"
#include "frmSplash.h"
#include "widgets/Caption.h"

#include <QApplication>
#include <QFile>
#include <QPointer>
#include <QTimer>
#include <QWindow>

#include <utility>

namespace modMain {

namespace {

// Runs `next` from the event loop once `window` is on the screen and drawn (a window is drawn as
// it is exposed), or after a second when the window system never says so.
class WhenShown final : public QObject
{
public:
    WhenShown(QWidget *window, std::function<void()> next) : QObject(qApp), m_next(std::move(next))
    {
        if (QWindow *handle = window->windowHandle())
            handle->installEventFilter(this);
        QTimer::singleShot(fallbackMs, this, &WhenShown::fire);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Expose && static_cast<QWindow *>(watched)->isExposed())
            QTimer::singleShot(0, this, &WhenShown::fire);
        return false;
    }

private:
    static constexpr int fallbackMs = 1000;

    void fire()
    {
        if (!m_next)
            return;
        const std::function<void()> next = std::exchange(m_next, {});
        deleteLater();
        next();
    }

    std::function<void()> m_next;
};

QPointer<frmMain> &mainForm()
{
    static QPointer<frmMain> form;
    return form;
}

} // namespace

void Main(const QString &startFile, std::function<void()> started)
{
    auto *splash = new frmSplash;
    splash->setAttribute(Qt::WA_DeleteOnClose);
    splash->ShowCentred();
    QPointer<frmSplash> guard(splash);

    new WhenShown(splash, [guard, startFile, started = std::move(started)] {
        auto *form = new frmMain;
        form->setAttribute(Qt::WA_DeleteOnClose);
        SetMainForm(form);
        form->setStartFile(startFile);
        QObject::connect(form, &frmMain::Started, qApp, started);
        form->Form_Load();
        form->show();
        // The splash covers start-up only until the main window shows. What the first activation
        // does (open the store, load the tree, the day's backup, the search index of an older
        // store) can take long on a big library; its progress shows over the drawn window, where
        // the user sees it, not behind a splash that keeps the top.
        if (guard)
            guard->close();
        // Activating the window may run the first activation before this does; it runs once.
        new WhenShown(form, [form = QPointer<frmMain>(form)] {
            if (form)
                form->Form_Activate();
        });
    });
}

frmMain *MainForm()
{
    return mainForm().data();
}

void SetMainForm(frmMain *form)
{
    mainForm() = form;
}

void BringToFront(const QString &file)
{
    frmMain *form = MainForm();
    // While start-up loads, the window is not shown yet; it comes up in front when start-up ends.
    if (form && form->isVisible()) {
        if (form->isMinimized())
            form->setWindowState((form->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
        form->raise();
        form->activateWindow();
        // The code that opened a dialog waits for its answer, so the dialog is what the user must see.
        if (QWidget *modal = QApplication::activeModalWidget(); modal && modal != form) {
            modal->raise();
            modal->activateWindow();
        }
    }
    if (!file.isEmpty())
        OpenWhenFree(file);
}

void OpenWhenFree(const QString &file)
{
    // Opened once the other start has its answer, which must not wait for the file's questions, and
    // once start-up is over and no dialog waits for an answer; until then it is kept, not dropped.
    QTimer::singleShot(mainForm() && mainForm()->isVisible() && !QApplication::activeModalWidget() ? 0 : 250, qApp,
                       [file] {
                           frmMain *form = MainForm();
                           if (!form)
                               return;
                           if (!form->isVisible() || QApplication::activeModalWidget())
                               return OpenWhenFree(file);
                           form->OpenFile(file);
                       });
}

void UnloadForm(QWidget *window)
{
    if (window)
        window->close();
    if (frmMain *form = MainForm())
        SetCaptionColors(form->lblCaption(), CaptionActive);
}

void UnloadAll()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        // Menus, tool tips and the like are top-level too, but they are not windows of their own.
        const Qt::WindowType type = window->windowType();
        if (window->isVisible() && (type == Qt::Window || type == Qt::Dialog || type == Qt::SplashScreen))
            UnloadForm(window);
    }
    QFile::remove(AppPath() + QStringLiteral("~clp.tmp"));
}

} // namespace modMain
