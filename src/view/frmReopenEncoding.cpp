#include "frmReopenEncoding.h"

#include "system/TextDecoder.h"
#include "system/TextEncodings.h"

#include <QDialogButtonBox>
#include <QFileInfo>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>

namespace {

// Sixty lines of even a wide text fit in this; an even size never splits a UTF-16 unit.
constexpr qsizetype headLength = 64 * 1024;

} // namespace

frmReopenEncoding::frmReopenEncoding(QWidget *parent, const QString &path, const QByteArray &bytes,
                                     const QString &selected)
    : QDialog(parent),
      lblFile(new QLabel(this)),
      lstEncodings(new QListWidget(this)),
      txtPreview(new QPlainTextEdit(this)),
      cmdButtons(new QDialogButtonBox(QDialogButtonBox::Cancel, this)),
      m_head(bytes.left(headLength))
{
    setObjectName(QStringLiteral("frmReopenEncoding"));
    setWindowTitle(QStringLiteral("Reopen With Encoding"));
    lblFile->setObjectName(QStringLiteral("lblFile"));
    lblFile->setText(QStringLiteral("Read \u201C%1\u201D again as:").arg(QFileInfo(path).fileName()));
    lblFile->setToolTip(path);
    lblFile->setBuddy(lstEncodings);
    lstEncodings->setObjectName(QStringLiteral("lstEncodings"));
    lstEncodings->setAccessibleName(QStringLiteral("Encodings"));
    for (const TextEncodings::Encoding &encoding : TextEncodings::All()) {
        auto *item = new QListWidgetItem(encoding.Label, lstEncodings);
        item->setData(Qt::UserRole, encoding.Name);
    }
    txtPreview->setObjectName(QStringLiteral("txtPreview"));
    txtPreview->setAccessibleName(QStringLiteral("Preview"));
    txtPreview->setReadOnly(true);
    txtPreview->setLineWrapMode(QPlainTextEdit::NoWrap);
    txtPreview->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    txtPreview->setPlaceholderText(QStringLiteral("Choose an encoding to see the file's first lines in it."));
    auto *note = new QLabel(QStringLiteral("Replace reads the whole file again in the chosen encoding and replaces "
                                           "the text Lorekeep keeps of it."),
                            this);
    note->setWordWrap(true);
    QPushButton *replace = cmdButtons->addButton(QStringLiteral("&Replace"), QDialogButtonBox::AcceptRole);
    replace->setObjectName(QStringLiteral("cmdReplace"));
    replace->setDefault(true);

    // The whole of every label, without a scroll bar across.
    lstEncodings->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    lstEncodings->setMinimumWidth(lstEncodings->sizeHintForColumn(0) + 2 * lstEncodings->frameWidth() +
                                  lstEncodings->verticalScrollBar()->sizeHint().width() + 8);
    auto *panes = new QHBoxLayout;
    panes->addWidget(lstEncodings);
    panes->addWidget(txtPreview, 1);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(lblFile);
    layout->addLayout(panes, 1);
    layout->addWidget(note);
    layout->addWidget(cmdButtons);
    resize(900, 560);

    connect(cmdButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(cmdButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(lstEncodings, &QListWidget::currentRowChanged, this, &frmReopenEncoding::showPreview);
    connect(lstEncodings, &QListWidget::itemDoubleClicked, this, &QDialog::accept);

    if (const TextEncodings::Encoding *start = TextEncodings::Find(selected)) {
        const QList<QListWidgetItem *> found = lstEncodings->findItems(start->Label, Qt::MatchExactly);
        if (!found.isEmpty())
            lstEncodings->setCurrentItem(found.constFirst());
    }
    showPreview();
    lstEncodings->setFocus();
}

QString frmReopenEncoding::Encoding() const
{
    const QListWidgetItem *item = lstEncodings->currentItem();
    return item ? item->data(Qt::UserRole).toString() : QString();
}

void frmReopenEncoding::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    // The list is laid out only now; Big5 at its foot would start out of sight.
    if (QListWidgetItem *item = lstEncodings->currentItem())
        lstEncodings->scrollToItem(item, QAbstractItemView::PositionAtCenter);
}

void frmReopenEncoding::showPreview()
{
    const QString encoding = Encoding();
    cmdButtons->findChild<QPushButton *>(QStringLiteral("cmdReplace"))->setEnabled(!encoding.isEmpty());
    if (encoding.isEmpty()) {
        txtPreview->clear();
        return;
    }
    const TextDecoder::Decoded decoded = TextDecoder::DecodeChosen(m_head, encoding);
    if (decoded.Binary) {
        txtPreview->setPlainText(QStringLiteral("(In this encoding the file does not read as text.)"));
        return;
    }
    QString lines = decoded.Text;
    lines.replace(QStringLiteral("\r\n"), QStringLiteral("\n")).replace(QLatin1Char('\r'), QLatin1Char('\n'));
    qsizetype end = -1;
    for (int line = 0; line < PreviewLines; ++line) {
        end = lines.indexOf(QLatin1Char('\n'), end + 1);
        if (end < 0)
            break;
    }
    if (end >= 0)
        lines.truncate(end);
    txtPreview->setPlainText(lines);
}
