#include "frmClip.h"

#include "base/ErrorLog.h"
#include "clip/ClipFile.h"
#include "components/PrintJob.h"
#include "system/Prompts.h"
#include "system/SettingsStore.h"
#include "system/Twips.h"

#include <QAction>
#include <QActionGroup>
#include <QDir>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QMenu>
#include <QMenuBar>
#include <QPrinter>
#include <QScreen>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <QTextEdit>
#include <QVBoxLayout>

#include <memory>
#include <optional>

namespace {

const QString module = QStringLiteral("frmClip");
const QString caption = QStringLiteral("Quick Clip Viewer");
const QString fixedsys = QStringLiteral("Fixedsys");
const QString courierNew = QStringLiteral("Courier New");

// The window's size when nothing is saved, in pixels; it opens in the middle of the screen.
constexpr QSize DesignSize(640, 480);
constexpr QSize MinimumSize(240, 160);
// The runtime's "Printer error", which a printout that failed is logged with.
constexpr long PrinterError = 482;

FileDialogOptions clipDialog(const QString &title)
{
    // The folder is made at start; should the user have removed it since, the dialog still starts there.
    QDir().mkpath(ClipFile::Folder());
    FileDialogOptions options;
    options.Title = title;
    options.Filter = QStringLiteral("Quick Clip Files *.qcf|*.qcf");
    options.InitDir = ClipFile::Folder();
    options.DefaultExt = QStringLiteral("qcf");
    return options;
}

QAction *addItem(QMenu *menu, const char *name, const char *text)
{
    QAction *item = menu->addAction(QString::fromLatin1(text));
    item->setObjectName(QString::fromLatin1(name));
    return item;
}

std::optional<int> setting(const SettingKey &key)
{
    const std::optional<long> number = SettingNumber(GetSetting(key));
    if (!number || *number < -10000000 || *number > 10000000)
        return std::nullopt;
    return int(*number);
}

} // namespace

frmClip::frmClip(QWidget *parent) : QDialog(parent), txtRTF(new QTextEdit)
{
    setObjectName(QStringLiteral("frmClip"));
    setWindowTitle(caption);
    setWindowFlag(Qt::WindowMaximizeButtonHint);
    setMinimumSize(MinimumSize);

    // A viewer: the text is read, selected and copied, never typed into.
    txtRTF->setObjectName(QStringLiteral("txtRTF"));
    txtRTF->setAccessibleName(QStringLiteral("Quick Clips"));
    txtRTF->setReadOnly(true);
    txtRTF->setAcceptRichText(false);
    txtRTF->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);

    auto *bar = new QMenuBar(this);
    bar->setObjectName(QStringLiteral("mnuBar"));
    buildMenu(bar);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setMenuBar(bar);
    layout->addWidget(txtRTF);
}

frmClip::~frmClip() = default;

void frmClip::buildMenu(QMenuBar *bar)
{
    mnuFile = bar->addMenu(QStringLiteral("&File"));
    mnuFile->setObjectName(QStringLiteral("mnuFile"));
    mnuFileOpen = addItem(mnuFile, "mnuFileOpen", "&Open...");
    mnuFileSaveAs = addItem(mnuFile, "mnuFileSaveAs", "Save &As...");
    mnuFile->addSeparator();
    mnuFileClear = addItem(mnuFile, "mnuFileClear", "&Clear Contents");
    mnuFile->addSeparator();
    mnuAddTo = addItem(mnuFile, "mnuAddTo", "Add To...");
    mnuFile->addSeparator();
    mnuFilePrint = addItem(mnuFile, "mnuFilePrint", "&Print...");
    mnuFile->addSeparator();
    mnuFileExit = addItem(mnuFile, "mnuFileExit", "E&xit");

    mnuFont = bar->addMenu(QStringLiteral("F&ont"));
    mnuFont->setObjectName(QStringLiteral("mnuFont"));
    mnuFontFixedsys = addItem(mnuFont, "mnuFontFixedsys", "Fixedsys");
    mnuFontCourierNew = addItem(mnuFont, "mnuFontCourierNew", "Courier New");
    auto *fonts = new QActionGroup(this);
    for (QAction *item : {mnuFontFixedsys, mnuFontCourierNew}) {
        item->setCheckable(true);
        fonts->addAction(item);
    }

    connect(mnuFileOpen, &QAction::triggered, this, &frmClip::mnuFileOpen_Click);
    connect(mnuFileSaveAs, &QAction::triggered, this, &frmClip::mnuFileSaveAs_Click);
    connect(mnuFileClear, &QAction::triggered, this, &frmClip::mnuFileClear_Click);
    connect(mnuAddTo, &QAction::triggered, this, &frmClip::mnuAddTo_Click);
    connect(mnuFilePrint, &QAction::triggered, this, &frmClip::mnuFilePrint_Click);
    connect(mnuFileExit, &QAction::triggered, this, &QWidget::close);
    connect(mnuFontFixedsys, &QAction::triggered, this, [this] { mnuFont_Click(fixedsys); });
    connect(mnuFontCourierNew, &QAction::triggered, this, [this] { mnuFont_Click(courierNew); });
}

void frmClip::setVisible(bool visible)
{
    // Placed and filled before it first appears, so it neither jumps nor flickers.
    if (visible)
        Form_Load();
    QDialog::setVisible(visible);
}

void frmClip::Form_Load()
{
    if (m_loaded)
        return;
    m_loaded = true;

    const QScreen *screen = parentWidget() ? parentWidget()->screen() : QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect(QPoint(0, 0), QSize(1280, 800));
    QRect place(QPoint(0, 0), DesignSize.boundedTo(area.size()));
    place.moveCenter(area.center());
    const std::optional<int> top = setting(SettingKeys::ClipTop);
    const std::optional<int> left = setting(SettingKeys::ClipLeft);
    const std::optional<int> width = setting(SettingKeys::ClipWidth);
    const std::optional<int> height = setting(SettingKeys::ClipHeight);
    if (top && left && width && height) {
        const QRect saved(Twips::toPixelsX(*left), Twips::toPixelsY(*top), Twips::toPixelsX(*width),
                          Twips::toPixelsY(*height));
        // A place on a screen that is no longer there would leave the window out of reach.
        const QScreen *shown = QGuiApplication::screenAt(saved.center());
        if (shown && saved.width() >= MinimumSize.width() && saved.height() >= MinimumSize.height())
            place = saved;
    }
    resize(place.size());
    move(place.topLeft());

    applyFont(GetSetting(SettingKeys::QCFont));

    QString text;
    ErrObject err;
    if (!ClipFile::ReadPending(&text, &err))
        LogError(err, module, QStringLiteral("Form_Load"), true);
    showText(text);
    Enable(!text.trimmed().isEmpty(), 0);
}

void frmClip::done(int result)
{
    if (m_loaded && !isMinimized()) {
        SaveSettings({{SettingKeys::ClipTop, QString::number(Twips::fromPixelsY(y()))},
                      {SettingKeys::ClipLeft, QString::number(Twips::fromPixelsX(x()))},
                      {SettingKeys::ClipWidth, QString::number(Twips::fromPixelsX(width()))},
                      {SettingKeys::ClipHeight, QString::number(Twips::fromPixelsY(height()))}});
    }
    QDialog::done(result);
}

void frmClip::Enable(bool enable, quint8 mode)
{
    mnuAddTo->setEnabled(enable);
    mnuFileSaveAs->setEnabled(enable);
    mnuFilePrint->setEnabled(enable);
    mnuFileClear->setEnabled(mode == 1 ? false : enable);
}

void frmClip::showText(const QString &text)
{
    m_text = text;
    txtRTF->setPlainText(text);
}

void frmClip::applyFont(const QString &name)
{
    // Fixedsys is the desktop's own fixed-width font here; Courier New is found by fontconfig or
    // stands in for by the nearest typewriter face.
    const bool system = name == fixedsys;
    QFont font;
    if (system) {
        font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    } else {
        font = QFont(courierNew);
        font.setStyleHint(QFont::TypeWriter);
        font.setFixedPitch(true);
    }
    txtRTF->setFont(font);
    mnuFontFixedsys->setChecked(system);
    mnuFontCourierNew->setChecked(!system);
}

void frmClip::mnuFont_Click(const QString &name)
{
    applyFont(name);
    SaveSetting(SettingKeys::QCFont, name);
}

void frmClip::mnuFileOpen_Click()
{
    const std::optional<QString> path =
        Prompts::current().GetOpenFileName(clipDialog(QStringLiteral("Open Quick Clip Files...")));
    if (path)
        OpenClip(*path);
}

bool frmClip::OpenClip(const QString &path)
{
    QString text;
    ErrObject err;
    if (!ClipFile::Read(path, &text, &err)) {
        LogError(err, module, QStringLiteral("Open Clip"), true);
        return false;
    }
    setWindowTitle(caption + QStringLiteral(" - ") + QFileInfo(path).fileName());
    m_shownFile = path;
    showText(text);
    if (text.trimmed().isEmpty())
        Enable(false, 0);
    else
        Enable(true, 1);
    return true;
}

void frmClip::mnuFileSaveAs_Click()
{
    const std::optional<QString> path =
        Prompts::current().GetSaveFileName(clipDialog(QStringLiteral("Save Quick Clip Files")));
    if (!path)
        return;
    if (QFileInfo(*path).isFile() &&
        MsgBox(*path + QStringLiteral(" already exists.\r\nDo you want to replace it?"), MsgButtons::YesNo,
               MsgIcon::Exclamation, QStringLiteral("Quick Clip")) != MsgResult::Yes)
        return;
    ErrObject err;
    if (!ClipFile::Save(*path, m_text, &err))
        LogError(err, module, QStringLiteral("Save Clip"), true);
}

void frmClip::mnuAddTo_Click()
{
    const std::optional<QString> path = Prompts::current().GetSaveFileName(clipDialog(QStringLiteral("Add To...")));
    if (!path)
        return;
    const QFileInfo target(*path);
    // Adding the clips to their own file and then deleting that file would lose them.
    if (target.exists() && target.canonicalFilePath() == QFileInfo(ClipFile::PendingPath()).canonicalFilePath()) {
        MsgBox(QStringLiteral("The Quick Clips cannot be added to their own file. Please choose another file."),
               MsgButtons::OK, MsgIcon::Exclamation, QStringLiteral("Add To..."));
        return;
    }
    if (target.isFile() &&
        MsgBox(QStringLiteral("Are you sure you wish to add the Quick Clip contents to ") + *path + QStringLiteral("?"),
               MsgButtons::YesNo, MsgIcon::Exclamation, QStringLiteral("Add To...")) != MsgResult::Yes)
        return;
    ErrObject err;
    if (!ClipFile::AddTo(*path, m_text, &err)) {
        LogError(err, module, QStringLiteral("Add To Clip"), true);
        return;
    }
    MsgBox(QStringLiteral("The Quick Clip contents have been added to the File."), MsgButtons::OK,
           MsgIcon::Information);
    // The pending clips are kept now; a Quick Clip file that was shown leaves them alone.
    if (m_shownFile.isEmpty())
        ClipFile::Clear();
    showText(QString());
    Enable(false, 0);
}

void frmClip::mnuFileClear_Click()
{
    if (MsgBox(QStringLiteral("Are you sure you wish to clear the Quick Clip contents?"), MsgButtons::YesNo,
               MsgIcon::Exclamation, QStringLiteral("Quick Clip")) != MsgResult::Yes)
        return;
    showText(QString());
    ClipFile::Clear();
    Enable(false, 0);
}

void frmClip::mnuFilePrint_Click()
{
    const QString procedure = QStringLiteral("mnuFilePrint_Click");
    if (m_text.trimmed().isEmpty()) {
        MsgBox(QStringLiteral("There is nothing to print."), MsgButtons::OK, MsgIcon::Exclamation);
        return;
    }
    const QTextCursor cursor = txtRTF->textCursor();
    QPrinter printer(QPrinter::HighResolution);
    ErrObject err;
    if (!PrintJob::ChoosePrinter(&printer, cursor.hasSelection(), &err)) {
        LogError(err, module, procedure, false);
        return;
    }
    const bool selection = printer.printRange() == QPrinter::Selection && cursor.hasSelection();
    auto document = std::make_unique<QTextDocument>(nullptr);
    document->setDefaultFont(txtRTF->font());
    QTextOption wrap = document->defaultTextOption();
    // A line of equal signs or a long address still breaks at the margin.
    wrap.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    document->setDefaultTextOption(wrap);
    document->setPlainText(selection ? cursor.selection().toPlainText() : m_text);
    QString error;
    if (PrintJob::Print(this, std::move(document), &printer, &error) == PrintJob::Outcome::Failed) {
        LogError({PrinterError, error}, module, procedure, false);
        MsgBox(QStringLiteral("The Quick Clip contents could not be printed:\r\n\r\n") + error, MsgButtons::OK,
               MsgIcon::Critical);
    }
}
