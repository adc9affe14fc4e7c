#include "frmSharedLibrary.h"

#include "store/StoreAddress.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int defaultPort = 5432;

QLineEdit *addBox(QWidget *parent, QFormLayout *form, const char *name, const QString &label,
                  const QString &placeholder)
{
    auto *box = new QLineEdit(parent);
    box->setObjectName(QString::fromLatin1(name));
    box->setPlaceholderText(placeholder);
    form->addRow(label, box);
    return box;
}

} // namespace

frmSharedLibrary::frmSharedLibrary(const QString &title, const QString &current, QWidget *parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("frmSharedLibrary"));
    setWindowTitle(title);
    auto *about = new QLabel(QStringLiteral("A library shared on a PostgreSQL server. Boxes left empty are taken "
                                            "from your PostgreSQL settings (PGHOST, PGUSER, ~/.pgpass), as psql "
                                            "takes them."),
                             this);
    about->setWordWrap(true);
    auto *form = new QFormLayout;
    txtHost = addBox(this, form, "txtHost", QStringLiteral("&Host:"), QStringLiteral("this computer"));
    txtPort = addBox(this, form, "txtPort", QStringLiteral("&Port:"), QStringLiteral("the default"));
    txtPort->setValidator(new QIntValidator(1, 65535, txtPort));
    txtDatabase = addBox(this, form, "txtDatabase", QStringLiteral("&Database:"), QStringLiteral("your user name"));
    txtUser = addBox(this, form, "txtUser", QStringLiteral("&User:"), QStringLiteral("your login name"));
    txtPassword =
        addBox(this, form, "txtPassword", QStringLiteral("Pass&word:"), QStringLiteral("from ~/.pgpass, or none"));
    txtPassword->setEchoMode(QLineEdit::Password);
    buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(about);
    layout->addLayout(form);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    QString host;
    QString database;
    QString user;
    int port = 0;
    if (StoreAddress::IsShared(current) && StoreAddress::Parts(current, &host, &port, &database, &user)) {
        txtHost->setText(host);
        txtPort->setText(port > 0 ? QString::number(port) : QString());
        txtDatabase->setText(database);
        txtUser->setText(user);
        // Only this session knows it: the address it comes from is held in memory.
        txtPassword->setText(StoreAddress::Password(current));
    } else {
        txtPort->setText(QString::number(defaultPort));
    }
    resize(std::max(sizeHint().width(), 420), sizeHint().height());
}

QString frmSharedLibrary::Address() const
{
    return StoreAddress::Build(txtHost->text(), txtPort->text().toInt(), txtDatabase->text(), txtUser->text(),
                               txtPassword->text());
}

std::optional<QString> frmSharedLibrary::Ask(QWidget *parent, const QString &title, const QString &current)
{
    frmSharedLibrary dialog(title, current, parent);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return dialog.Address();
}
