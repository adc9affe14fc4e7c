#include "TipOfTheDay.h"

#include "system/Contrast.h"
#include "system/SettingsStore.h"
#include "system/TextDecoder.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

TipOfTheDay::TipOfTheDay(QWidget *parent)
    : QDialog(parent),
      lblTip(new QLabel),
      lblNumber(new QLabel),
      chkLoadWithStart(new QCheckBox(QStringLiteral("&Show tips at startup"))),
      cmdPrevious(new QPushButton(QStringLiteral("&Previous"))),
      cmdNext(new QPushButton(QStringLiteral("&Next Tip"))),
      cmdOK(new QPushButton(QStringLiteral("OK")))
{
    setObjectName(QStringLiteral("frmTip"));
    setWindowTitle(QStringLiteral("Tip of the Day"));
    lblTip->setObjectName(QStringLiteral("lblTip"));
    lblNumber->setObjectName(QStringLiteral("lblNumber"));
    chkLoadWithStart->setObjectName(QStringLiteral("chkLoadWithStart"));
    cmdPrevious->setObjectName(QStringLiteral("cmdPrevious"));
    cmdNext->setObjectName(QStringLiteral("cmdNext"));
    cmdOK->setObjectName(QStringLiteral("cmdOK"));

    auto *icon = new QLabel;
    icon->setObjectName(QStringLiteral("imgTip"));
    icon->setPixmap(QApplication::windowIcon().pixmap(48, 48));
    icon->setAccessibleName(QStringLiteral("Lorekeep"));
    icon->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
    auto *heading = new QLabel(QStringLiteral("Did you know..."));
    QFont big = heading->font();
    big.setBold(true);
    big.setPointSizeF(big.pointSizeF() * 1.4);
    heading->setFont(big);

    // The tip sits on the base colour, like a page, apart from the window's own controls.
    auto *card = new QFrame;
    card->setFrameShape(QFrame::StyledPanel);
    card->setBackgroundRole(QPalette::Base);
    card->setAutoFillBackground(true);
    auto *cardColumn = new QVBoxLayout(card);
    cardColumn->setContentsMargins(14, 12, 14, 12);
    lblTip->setWordWrap(true);
    lblTip->setTextFormat(Qt::PlainText);
    lblTip->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    lblTip->setTextInteractionFlags(Qt::TextSelectableByMouse);
    lblTip->setMinimumSize(380, 110);
    // Subdued, but not so far that it cannot be read.
    QPalette subdued = lblNumber->palette();
    subdued.setColor(QPalette::PlaceholderText, SubduedText(subdued, QPalette::Base));
    lblNumber->setPalette(subdued);
    lblNumber->setForegroundRole(QPalette::PlaceholderText);
    cardColumn->addWidget(heading);
    cardColumn->addWidget(lblTip, 1);
    cardColumn->addWidget(lblNumber, 0, Qt::AlignRight);

    auto *top = new QHBoxLayout;
    top->addWidget(icon);
    top->addWidget(card, 1);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(chkLoadWithStart);
    buttons->addStretch();
    buttons->addWidget(cmdPrevious);
    buttons->addWidget(cmdNext);
    buttons->addWidget(cmdOK);
    cmdOK->setDefault(true);

    auto *column = new QVBoxLayout(this);
    column->addLayout(top, 1);
    column->addLayout(buttons);

    connect(cmdPrevious, &QPushButton::clicked, this, [this] { showTip(m_current - 1); });
    connect(cmdNext, &QPushButton::clicked, this, [this] { showTip(m_current + 1); });
    connect(cmdOK, &QPushButton::clicked, this, &TipOfTheDay::cmdOK_Click);
}

bool TipOfTheDay::ReadTips(const QString &path, QStringList *tips, QString *error)
{
    tips->clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return false;
    }
    // Tips edited on another system may be in its encoding rather than UTF-8.
    const QStringList lines = TextDecoder::Decode(file.readAll()).Text.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QString tip = line.trimmed();
        if (!tip.isEmpty() && !tip.startsWith(QLatin1Char('#')))
            tips->append(tip);
    }
    return true;
}

void TipOfTheDay::Show(const QString &tipsPath, quint8 bytLoadWithStart)
{
    chkLoadWithStart->setChecked(bytLoadWithStart != 0);
    QString error;
    if (!ReadTips(tipsPath, &m_tips, &error)) {
        lblTip->setText(QStringLiteral("There are no tips to show: the tips file \"%1\" cannot be read (%2).")
                            .arg(QDir::toNativeSeparators(tipsPath), error));
    } else if (m_tips.isEmpty()) {
        lblTip->setText(QStringLiteral("There are no tips to show: the tips file \"%1\" holds none.")
                            .arg(QDir::toNativeSeparators(tipsPath)));
    }
    if (m_tips.isEmpty()) {
        m_current = -1;
        lblNumber->clear();
        cmdPrevious->setEnabled(false);
        cmdNext->setEnabled(false);
    } else {
        // A number past the end (the file has lost tips since) starts over at the first.
        const long next = SettingNumber(GetSetting(SettingKeys::TipNumber)).value_or(1);
        showTip(next >= 1 && next <= m_tips.size() ? int(next - 1) : 0);
        // The next showing starts one further on, around to the first after the last.
        SaveSetting(SettingKeys::TipNumber, QString::number((m_current + 1) % m_tips.size() + 1));
    }
    open();
    cmdOK->setFocus();
}

void TipOfTheDay::showTip(int index)
{
    if (m_tips.isEmpty())
        return;
    m_current = int((index + m_tips.size()) % m_tips.size());
    lblTip->setText(m_tips.at(m_current));
    lblNumber->setText(QStringLiteral("Tip %1 of %2").arg(m_current + 1).arg(m_tips.size()));
    cmdPrevious->setEnabled(m_tips.size() > 1);
    cmdNext->setEnabled(m_tips.size() > 1);
}

void TipOfTheDay::cmdOK_Click()
{
    Q_EMIT OKClick(chkLoadWithStart->isChecked() ? 1 : 0);
    accept();
}
