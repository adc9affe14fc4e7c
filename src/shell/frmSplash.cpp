#include "frmSplash.h"

#include "base/AppPath.h"
#include "base/Version.h"

#include <QApplication>
#include <QFrame>
#include <QLabel>
#include <QPixmap>
#include <QScreen>
#include <QVBoxLayout>

frmSplash::frmSplash(QWidget *parent)
    : QWidget(parent, Qt::SplashScreen | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      imgLogo(new QLabel(this)),
      lblVersion(new QLabel(VersionText(), this))
{
    setObjectName(QStringLiteral("frmSplash"));
    setWindowTitle(QStringLiteral(LOREKEEP_TITLE));
    imgLogo->setObjectName(QStringLiteral("imgLogo"));
    lblVersion->setObjectName(QStringLiteral("lblVersion"));

    // The picture belongs to the home; without it the splash still says what is starting.
    const QPixmap logo(AppPath() + QStringLiteral("logo.gif"));
    if (!logo.isNull())
        imgLogo->setPixmap(logo);
    imgLogo->setVisible(!logo.isNull());
    imgLogo->setAlignment(Qt::AlignCenter);
    imgLogo->setAccessibleName(QStringLiteral("Lorekeep logo"));
    lblVersion->setAlignment(Qt::AlignRight | Qt::AlignVCenter);

    auto *frame = new QFrame(this);
    frame->setObjectName(QStringLiteral("fraSplash"));
    frame->setFrameShape(QFrame::Box);
    frame->setStyleSheet(QStringLiteral("#fraSplash { background: white; border: 1px solid #404040; }"
                                        "QLabel { color: #202020; }"));
    auto *inner = new QVBoxLayout(frame);
    inner->setContentsMargins(24, 20, 24, 14);
    inner->setSpacing(10);
    if (logo.isNull()) {
        auto *title = new QLabel(QStringLiteral(LOREKEEP_TITLE), frame);
        QFont big = title->font();
        big.setPointSizeF(big.pointSizeF() * 2.4);
        big.setBold(true);
        title->setFont(big);
        title->setAlignment(Qt::AlignCenter);
        inner->addWidget(title);
    }
    inner->addWidget(imgLogo);
    inner->addWidget(lblVersion);
    imgLogo->setParent(frame);
    lblVersion->setParent(frame);

    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(frame);
    setMinimumWidth(360);
}

QString frmSplash::VersionText()
{
    return QStringLiteral("Version %1.%2.%3")
        .arg(LOREKEEP_VERSION_MAJOR)
        .arg(LOREKEEP_VERSION_MINOR)
        .arg(LOREKEEP_VERSION_REVISION);
}

void frmSplash::ShowCentred()
{
    adjustSize();
    if (const QScreen *screen = QApplication::primaryScreen())
        move(screen->availableGeometry().center() - rect().center());
    show();
}

void frmSplash::keyPressEvent(QKeyEvent *)
{
    close();
}

void frmSplash::mousePressEvent(QMouseEvent *)
{
    close();
}
