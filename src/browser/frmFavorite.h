#pragma once

#include <QDialog>

class modADO;

class QLineEdit;
class QPushButton;

// "Add Favorite": keeps the page shown in the browser as an internet favorite, with a description
// the user types. The new row is announced through AddFavorite, for the list that shows favorites.
class frmFavorite final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmFavorite)

public:
    // `url` and `title` are the page's, as the browser gives them.
    frmFavorite(const QString &url, const QString &title, QWidget *parent = nullptr);

    void setStore(modADO *store) { m_store = store; }

Q_SIGNALS:
    // Key is "K_" and the new row's id; the values are those stored.
    void AddFavorite(const QString &Key, const QString &URL, const QString &Title, const QString &Desc);

private:
    void cmdOK_Click();

    QLineEdit *txtDesc;
    QPushButton *cmdOK;
    QPushButton *cmdCancel;
    modADO *m_store = nullptr;
    QString m_url;
    QString m_title;
};
