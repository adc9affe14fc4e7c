#include "frmOptions.h"

#include "base/AppPath.h"
#include "system/Prompts.h"
#include "system/SettingsStore.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <QVBoxLayout>

namespace {

QString defaultStartPage()
{
    return AppPath() + QStringLiteral("Start.html");
}

template <class Widget> Widget *named(Widget *widget, const char *name)
{
    widget->setObjectName(QString::fromLatin1(name));
    return widget;
}

} // namespace

frmOptions::frmOptions(QWidget *parent)
    : QDialog(parent),
      txtURL(named(new QLineEdit, "txtURL")),
      cmdSelect(named(new QPushButton(QStringLiteral("&Browse...")), "cmdSelect")),
      chkPictures(named(new QCheckBox(QStringLiteral("Keep pictures of imported pages")), "chkPictures")),
      chkAppLayout(named(new QCheckBox(QStringLiteral("Save Application Layout")), "chkAppLayout")),
      optView3(named(new QRadioButton(QStringLiteral("Report View")), "optView3")),
      optView0(named(new QRadioButton(QStringLiteral("Large Icons")), "optView0")),
      cmdOK(named(new QPushButton(QStringLiteral("OK")), "cmdOK")),
      cmdCancel(named(new QPushButton(QStringLiteral("&Cancel")), "cmdCancel")),
      m_views(new QButtonGroup(this))
{
    setObjectName(QStringLiteral("frmOptions"));
    setWindowTitle(QStringLiteral("Options"));

    auto *start = named(new QGroupBox(QStringLiteral("Browser Start Page:")), "fraStart");
    auto *startRow = new QHBoxLayout(start);
    txtURL->setMinimumWidth(360);
    txtURL->setAccessibleName(QStringLiteral("Browser Start Page"));
    txtURL->setToolTip(QStringLiteral("A web address or a page on this computer; empty for Lorekeep's own start page"));
    txtURL->installEventFilter(this);
    cmdSelect->setToolTip(QStringLiteral("Choose a page on this computer"));
    startRow->addWidget(txtURL, 1);
    startRow->addWidget(cmdSelect);

    auto *pagesFrame = named(new QGroupBox(QStringLiteral("Imported Pages:")), "fraPages");
    auto *pagesColumn = new QVBoxLayout(pagesFrame);
    chkPictures->setToolTip(QStringLiteral("When off, an imported page's pictures become links to them and its file "
                                           "stays small"));
    pagesColumn->addWidget(chkPictures);

    auto *layoutFrame = named(new QGroupBox(QStringLiteral("Application Layout:")), "fraLayout");
    auto *layoutColumn = new QVBoxLayout(layoutFrame);
    chkAppLayout->setToolTip(QStringLiteral("Reopen the panes and bars as you left them (from the next start)"));
    layoutColumn->addWidget(chkAppLayout);

    auto *Frame2 = named(new QGroupBox(QStringLiteral("File View:")), "Frame2");
    auto *viewRow = new QHBoxLayout(Frame2);
    m_views->addButton(optView3, 3);
    m_views->addButton(optView0, 0);
    viewRow->addWidget(optView3);
    viewRow->addWidget(optView0);
    viewRow->addStretch();

    auto *buttons = new QDialogButtonBox;
    buttons->addButton(cmdOK, QDialogButtonBox::AcceptRole);
    buttons->addButton(cmdCancel, QDialogButtonBox::RejectRole);
    cmdOK->setDefault(true);
    connect(cmdSelect, &QPushButton::clicked, this, &frmOptions::cmdSelect_Click);
    connect(cmdOK, &QPushButton::clicked, this, &frmOptions::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);

    auto *column = new QVBoxLayout(this);
    column->addWidget(start);
    column->addWidget(pagesFrame);
    column->addWidget(layoutFrame);
    column->addWidget(Frame2);
    column->addStretch();
    column->addWidget(buttons);

    Form_Load();
    setFixedSize(sizeHint());
}

void frmOptions::Form_Load()
{
    chkAppLayout->setChecked(SettingNumber(GetSetting(SettingKeys::AppLayout)) == 1L);
    chkPictures->setChecked(SettingNumber(GetSetting(SettingKeys::ImportPictures)).value_or(1) != 0);
    txtURL->setText(GetSetting(SettingKeys::BrowsStart.section(), SettingKeys::BrowsStart.key(), defaultStartPage()));
    // A style other than the two offered selects neither button; OK then stores large icons.
    if (const std::optional<long> view = SettingNumber(GetSetting(SettingKeys::FileView))) {
        if (QAbstractButton *button = *view == 3 || *view == 0 ? m_views->button(int(*view)) : nullptr)
            button->setChecked(true);
    }
}

bool frmOptions::eventFilter(QObject *watched, QEvent *event)
{
    // Entering the box selects the address without the blanks around it, ready to be typed over.
    // Posted, so it comes after the line edit's own selection on focus.
    if (watched == txtURL && event->type() == QEvent::FocusIn) {
        QTimer::singleShot(0, txtURL, [this] { txtURL->setSelection(0, int(txtURL->text().trimmed().size())); });
    }
    return QDialog::eventFilter(watched, event);
}

void frmOptions::cmdSelect_Click()
{
    FileDialogOptions options;
    options.Title = QStringLiteral("Select File...");
    options.Filter = QStringLiteral("HTML Files *.htm*|*.htm*");
    const QFileInfo current(txtURL->text().trimmed());
    options.InitDir = current.isAbsolute() && current.absoluteDir().exists() ? current.absolutePath() : AppPath();
    const std::optional<QString> path = Prompts::current().GetOpenFileName(options);
    if (!path)
        return;
    txtURL->setText(*path);
    txtURL->setFocus();
}

void frmOptions::cmdOK_Click()
{
    const QString start = txtURL->text().trimmed();
    SaveSettings({{SettingKeys::AppLayout, chkAppLayout->isChecked() ? QStringLiteral("1") : QStringLiteral("0")},
                  {SettingKeys::BrowsStart, start.isEmpty() ? defaultStartPage() : start},
                  {SettingKeys::FileView, optView3->isChecked() ? QStringLiteral("3") : QStringLiteral("0")},
                  {SettingKeys::ImportPictures, chkPictures->isChecked() ? QStringLiteral("1") : QStringLiteral("0")}});
    Q_EMIT Re_View();
    accept();
}
