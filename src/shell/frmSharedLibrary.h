#pragma once

#include <QDialog>

#include <optional>

class QDialogButtonBox;
class QLineEdit;

// The address of a shared library, asked for part by part: host, port, database, user and
// password. What is left empty is left to libpq (its environment and ~/.pgpass), as for psql.
class frmSharedLibrary final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmSharedLibrary)

public:
    // `current` fills the boxes when it is a shared library's address.
    frmSharedLibrary(const QString &title, const QString &current, QWidget *parent = nullptr);

    // The address the boxes make, with the password in it when one was typed.
    QString Address() const;

    // Asks; the address, or nothing when the user cancelled.
    static std::optional<QString> Ask(QWidget *parent, const QString &title, const QString &current);

    QLineEdit *txtHost;
    QLineEdit *txtPort;
    QLineEdit *txtDatabase;
    QLineEdit *txtUser;
    QLineEdit *txtPassword;
    QDialogButtonBox *buttons;
};
