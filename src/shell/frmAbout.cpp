#include "frmAbout.h"

#include "base/AppPath.h"
#include "data/modADO.h"
#include "frmSplash.h"
#include "system/Contrast.h"

#include <QDialogButtonBox>
#include <QFile>
#include <QFontDatabase>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <QtWebEngineCore/qtwebenginecoreglobal.h>

namespace {

QFrame *line()
{
    auto *rule = new QFrame;
    rule->setFrameShape(QFrame::HLine);
    rule->setFrameShadow(QFrame::Sunken);
    return rule;
}

} // namespace

frmAbout::frmAbout(QWidget *parent)
    : QDialog(parent),
      picIcon(new QLabel),
      lblVersion(new QLabel(frmSplash::VersionText())),
      lblLibraries(new QLabel(LibraryVersions())),
      lblLicence(new QLabel),
      cmdLicence(new QPushButton(QStringLiteral("&Licence..."))),
      cmdOK(new QPushButton(QStringLiteral("OK")))
{
    setObjectName(QStringLiteral("frmAbout"));
    setWindowTitle(QStringLiteral("About Lorekeep"));
    picIcon->setObjectName(QStringLiteral("picIcon"));
    lblVersion->setObjectName(QStringLiteral("lblVersion"));
    lblLibraries->setObjectName(QStringLiteral("lblLibraries"));
    lblLicence->setObjectName(QStringLiteral("lblLicence"));
    cmdLicence->setObjectName(QStringLiteral("cmdLicence"));
    cmdOK->setObjectName(QStringLiteral("cmdOK"));

    // A home without its logo shows the window without a picture.
    const QPixmap logo(AppPath() + QStringLiteral("logo.gif"));
    if (!logo.isNull())
        picIcon->setPixmap(logo);
    picIcon->setAccessibleName(QStringLiteral("Lorekeep logo"));
    picIcon->setAlignment(Qt::AlignCenter);

    QFont bold = lblVersion->font();
    bold.setBold(true);
    lblVersion->setFont(bold);
    auto *purpose = new QLabel(
        QStringLiteral("Walkthroughs, cheats, reviews, previews and news about video games, filed by platform, "
                       "genre and game."));
    purpose->setWordWrap(true);
    lblLibraries->setWordWrap(true);
    lblLibraries->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // Subdued, but not so far that it cannot be read.
    QPalette subdued = lblLibraries->palette();
    subdued.setColor(QPalette::PlaceholderText, SubduedText(subdued, QPalette::Window));
    lblLibraries->setPalette(subdued);
    lblLibraries->setForegroundRole(QPalette::PlaceholderText);
    lblLicence->setText(
        QStringLiteral("Lorekeep is free software: you can redistribute it and/or modify it under the terms of the "
                       "GNU General Public License as published by the Free Software Foundation, either version 3 "
                       "of the License, or (at your option) any later version. It comes with ABSOLUTELY NO "
                       "WARRANTY."));
    lblLicence->setWordWrap(true);

    auto *buttons = new QDialogButtonBox;
    buttons->addButton(cmdLicence, QDialogButtonBox::HelpRole);
    buttons->addButton(cmdOK, QDialogButtonBox::AcceptRole);
    cmdOK->setDefault(true);
    connect(cmdOK, &QPushButton::clicked, this, &QDialog::accept);
    connect(cmdLicence, &QPushButton::clicked, this, &frmAbout::cmdLicence_Click);

    auto *column = new QVBoxLayout(this);
    column->addWidget(picIcon);
    column->addWidget(line());
    column->addWidget(lblVersion);
    column->addWidget(purpose);
    column->addWidget(lblLibraries);
    column->addWidget(line());
    column->addWidget(lblLicence);
    column->addWidget(buttons);
    setFixedWidth(std::max(460, picIcon->sizeHint().width() + 40));
    setFixedHeight(heightForWidth(width()) > 0 ? heightForWidth(width()) : sizeHint().height());
}

QString frmAbout::LibraryVersions()
{
    return QStringLiteral("Qt %1, SQLite %2, Qt WebEngine %3 (Chromium %4)")
        .arg(QString::fromLatin1(qVersion()), modADO::SqliteVersion(), QString::fromLatin1(qWebEngineVersion()),
             QString::fromLatin1(qWebEngineChromiumVersion()));
}

void frmAbout::cmdLicence_Click()
{
    QDialog text(this);
    text.setObjectName(QStringLiteral("frmLicence"));
    text.setWindowTitle(QStringLiteral("Lorekeep Licence"));
    auto *view = new QPlainTextEdit;
    view->setReadOnly(true);
    view->setLineWrapMode(QPlainTextEdit::NoWrap);
    view->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    QFile licence(QStringLiteral(":/about/LICENSE"));
    view->setPlainText(licence.open(QIODevice::ReadOnly)
                           ? QString::fromUtf8(licence.readAll())
                           : QStringLiteral("GNU General Public License, version 3 or later: "
                                            "https://www.gnu.org/licenses/gpl-3.0.html"));
    auto *close = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(close, &QDialogButtonBox::rejected, &text, &QDialog::reject);
    auto *column = new QVBoxLayout(&text);
    column->addWidget(view);
    column->addWidget(close);
    text.resize(640, 560);
    text.exec();
}
