// The main window's Tools > Options and Help menu: the help window, the tip of the day, the updater,
// support and About.
#include "frmMain.h"

#include "base/AppPath.h"
#include "base/ErrorLog.h"
#include "base/Version.h"
#include "components/BackgroundWork.h"
#include "components/TipOfTheDay.h"
#include "frmAbout.h"
#include "modMain.h"
#include "options/frmOptions.h"
#include "system/PackageInstall.h"
#include "system/Prompts.h"
#include "system/SettingsStore.h"
#include "view/ctlView.h"
#include "widgets/HelpViewer.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QSaveFile>
#include <QTimer>

namespace {

const QString moduleName = QStringLiteral("frmMain");

} // namespace

QString frmMain::HelpFolder()
{
    return HelpPages::Folder(AppPath());
}

void frmMain::mnuToolsOptions_Click()
{
    frmOptions form(this);
    connect(&form, &frmOptions::Re_View, m_ctlView, &ctlView::Re_View);
    form.exec();
    modMain::UnloadForm(nullptr);
}

HelpViewer *frmMain::OpenHelp()
{
    if (!HelpPages(HelpFolder()).IsAvailable()) {
        MsgBox(QStringLiteral("Unable to display Help Contents. The Help file is missing."), MsgButtons::OK,
               MsgIcon::Information, windowTitle());
        return nullptr;
    }
    return HelpViewer::Instance(HelpFolder());
}

void frmMain::mnuHelpContents_Click()
{
    if (HelpViewer *help = OpenHelp())
        help->ShowContents();
}

void frmMain::mnuHelpSearch_Click()
{
    if (HelpViewer *help = OpenHelp())
        help->ShowSearch();
}

void frmMain::mnuLKSupport_Click()
{
    if (HelpViewer *help = OpenHelp())
        help->ShowPage(HelpPages::SupportPage);
}

void frmMain::AfterStartup(bool firstRun)
{
    // The help and the tip come up once start-up is over, the day's backup and the index of an
    // older store included, so that they do not open under a progress dialog; then a Quick Clip
    // file the program was started on.
    if (BackgroundWork::Busy() || m_indexing || m_indexWaiting) {
        QTimer::singleShot(250, this, [this, firstRun] { AfterStartup(firstRun); });
        return;
    }
    FirstRunAndTip(firstRun);
    if (IsClipFile(m_startFile))
        OpenClipFile(m_startFile);
}

void frmMain::FirstRunAndTip(bool firstRun)
{
    // Without its pages the first run simply goes without help; asking for it later says why.
    if (firstRun && HelpPages(HelpFolder()).IsAvailable())
        HelpViewer::Instance(HelpFolder())->ShowContents();
    if (SettingNumber(GetSetting(SettingKeys::TOD)) == 1L)
        mnuTips_Click();
}

void frmMain::mnuTips_Click()
{
    if (objTOD) {
        objTOD->raise();
        objTOD->activateWindow();
        return;
    }
    objTOD = new TipOfTheDay(this);
    objTOD->setAttribute(Qt::WA_DeleteOnClose);
    connect(objTOD, &TipOfTheDay::OKClick, this, &frmMain::objTOD_OKClick);
    const std::optional<long> show = SettingNumber(GetSetting(SettingKeys::TOD));
    objTOD->Show(AppPath() + QStringLiteral("tips.txt"), show.value_or(1) != 0 ? 1 : 0);
}

void frmMain::objTOD_OKClick(quint8 bytLoadWithStart)
{
    SaveSetting(SettingKeys::TOD, QString::number(bytLoadWithStart));
}

QByteArray frmMain::UpdaterHandOver()
{
    return QByteArrayLiteral("APP:" LOREKEEP_TITLE "\r\n") + "MAJ:" + QByteArray::number(LOREKEEP_VERSION_MAJOR) +
           "\r\nMIN:" + QByteArray::number(LOREKEEP_VERSION_MINOR) +
           "\r\nREV:" + QByteArray::number(LOREKEEP_VERSION_REVISION) + "\r\n";
}

void frmMain::mnuHelpUpdate_Click()
{
    // A packaged program is updated with the rest of the system, never in place by an updater.
    if (PackageInstall::IsPackaged()) {
        MsgBox(QStringLiteral("Lorekeep was installed from its Debian package: updates come with the system's "
                              "package updates."),
               MsgButtons::OK, MsgIcon::Information, QStringLiteral(LOREKEEP_TITLE));
        return;
    }
    const QString folder = AppPath();
    const QString updater = folder + QStringLiteral("PatchRunner");
    if (!QFileInfo(updater).isFile()) {
        MsgBox(QStringLiteral("The Lorekeep Updater has been moved or is missing."), MsgButtons::OK, MsgIcon::Critical,
               QStringLiteral(LOREKEEP_TITLE));
        return;
    }
    // The updater reads what it is to update from the hand-over file, so it is written whole first.
    QSaveFile handOver(folder + QStringLiteral("~udtmp.tmp"));
    if (!handOver.open(QIODevice::WriteOnly) || handOver.write(UpdaterHandOver()) < 0 || !handOver.commit())
        return LogError({ErrNumber::PathFileAccess,
                         QStringLiteral("Cannot write \"%1\": %2").arg(handOver.fileName(), handOver.errorString())},
                        moduleName, QStringLiteral("mnuHelpUpdate_Click"), true);
    QProcess process;
    process.setProgram(updater);
    process.setWorkingDirectory(QDir(folder).absolutePath());
    qint64 pid = 0;
    if (!process.startDetached(&pid))
        LogError({ErrNumber::PathFileAccess, QStringLiteral("The Lorekeep Updater \"%1\" could not be started: %2")
                                                 .arg(updater, process.errorString())},
                 moduleName, QStringLiteral("mnuHelpUpdate_Click"), true);
}

void frmMain::mnuHelpAbout_Click()
{
    frmAbout form(this);
    form.exec();
    modMain::UnloadForm(nullptr);
}
