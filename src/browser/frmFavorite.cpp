#include "frmFavorite.h"

#include "base/ErrorLog.h"
#include "data/FavoriteTable.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "system/Prompts.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

frmFavorite::frmFavorite(const QString &url, const QString &title, QWidget *parent)
    : QDialog(parent),
      txtDesc(new QLineEdit),
      cmdOK(new QPushButton(QStringLiteral("&OK"))),
      cmdCancel(new QPushButton(QStringLiteral("&Cancel"))),
      m_url(url),
      m_title(title)
{
    setObjectName(QStringLiteral("frmFavorite"));
    setWindowTitle(QStringLiteral("Add Favorite"));
    txtDesc->setObjectName(QStringLiteral("txtDesc"));
    cmdOK->setObjectName(QStringLiteral("cmdOK"));
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));

    auto *lblInfo = new QLabel(QStringLiteral("Add this link to my internet favorites."));
    lblInfo->setObjectName(QStringLiteral("lblInfo"));
    // The page the favorite will lead to, so the user knows what is being kept.
    auto *lblPage = new QLabel(title.trimmed().isEmpty() ? url.trimmed() : title.trimmed());
    lblPage->setObjectName(QStringLiteral("lblPage"));
    lblPage->setTextFormat(Qt::PlainText);
    lblPage->setToolTip(url.trimmed());
    lblPage->setMaximumWidth(420);
    QFont bold = lblPage->font();
    bold.setBold(true);
    lblPage->setFont(bold);

    auto *desc = new QFormLayout;
    auto *lblDesc = new QLabel(QStringLiteral("Desc:"));
    lblDesc->setBuddy(txtDesc);
    desc->addRow(lblDesc, txtDesc);
    txtDesc->setMinimumWidth(320);

    auto *buttons = new QDialogButtonBox;
    buttons->addButton(cmdOK, QDialogButtonBox::AcceptRole);
    buttons->addButton(cmdCancel, QDialogButtonBox::RejectRole);
    cmdOK->setDefault(true);
    // OK stores the row first and closes only when that worked.
    connect(cmdOK, &QPushButton::clicked, this, &frmFavorite::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(lblInfo);
    layout->addWidget(lblPage);
    layout->addLayout(desc);
    layout->addWidget(buttons);
    setFixedSize(sizeHint());
    txtDesc->setFocus();
}

void frmFavorite::cmdOK_Click()
{
    const FavoriteRow row{0, m_url.trimmed(), m_title.trimmed(), txtDesc->text().trimmed()};
    qint32 id = 0;
    ErrObject err;
    // A failure is the user's to see; the dialog stays open for another try or Cancel.
    if (!FavoriteTable::Add(m_store->Connection(), row, &id, &err)) {
        LogError(err, QStringLiteral("frmFavorite"), QStringLiteral("cmdOK_Click"), true);
        return;
    }
    Q_EMIT AddFavorite(NodeKey::File(id), row.url, row.title, row.desc);
    MsgBox(QStringLiteral("\"") + row.title + QStringLiteral("\" has been added."), MsgButtons::OK,
           MsgIcon::Information);
    accept();
}
