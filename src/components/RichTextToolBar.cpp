#include "RichTextToolBar.h"

#include "widgets/KeyboardAccess.h"

#include <QAction>
#include <QColorDialog>
#include <QComboBox>
#include <QDoubleValidator>
#include <QEvent>
#include <QFont>
#include <QIcon>
#include <QLineEdit>
#include <QPainter>
#include <QPixmap>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextEdit>

namespace {

// RTF keeps sizes as half points in a signed 16-bit number.
constexpr qreal MaxPoints = 1638;

QAction *styleAction(QToolBar *bar, const char *name, const QString &text, const char *iconName,
                     const QString &fallback, const QKeySequence &shortcut)
{
    auto *action = bar->addAction(QIcon::fromTheme(QLatin1String(iconName)), text);
    action->setObjectName(QLatin1String(name));
    action->setIconText(fallback);
    action->setCheckable(true);
    action->setShortcut(shortcut);
    action->setToolTip(text + QStringLiteral(" (") + shortcut.toString(QKeySequence::NativeText) + QLatin1Char(')'));
    return action;
}

QString sizeText(qreal points)
{
    return QString::number(points, 'g', 4);
}

} // namespace

RichTextToolBar::RichTextToolBar(QTextEdit *editor, QWidget *parent)
    : QToolBar(QStringLiteral("Format"), parent),
      m_editor(editor),
      cmdBold(styleAction(this, "cmdBold", QStringLiteral("Bold"), "format-text-bold", QStringLiteral("B"),
                          QKeySequence::Bold)),
      cmdItalic(styleAction(this, "cmdItalic", QStringLiteral("Italic"), "format-text-italic", QStringLiteral("I"),
                            QKeySequence::Italic)),
      cmdUnderline(styleAction(this, "cmdUnderline", QStringLiteral("Underline"), "format-text-underline",
                               QStringLiteral("U"), QKeySequence::Underline)),
      cboFontSize(new QComboBox(this)),
      cmdColor(new QAction(QStringLiteral("Color..."), this))
{
    setObjectName(QStringLiteral("RichTextToolBar"));
    setToolButtonStyle(Qt::ToolButtonIconOnly);

    // Without a theme the buttons show their letters; styled like what they do, they still read at
    // a glance.
    QFont font = this->font();
    font.setBold(true);
    cmdBold->setFont(font);
    font.setBold(false);
    font.setItalic(true);
    cmdItalic->setFont(font);
    font.setItalic(false);
    font.setUnderline(true);
    cmdUnderline->setFont(font);

    cboFontSize->setObjectName(QStringLiteral("cboFontSize"));
    cboFontSize->setEditable(true);
    cboFontSize->setInsertPolicy(QComboBox::NoInsert);
    cboFontSize->setToolTip(QStringLiteral("Font Size"));
    cboFontSize->setAccessibleName(QStringLiteral("Font Size"));
    for (int size : {8, 9, 10, 11, 12, 14, 16, 18, 20, 24, 28, 36, 48, 72})
        cboFontSize->addItem(QString::number(size));
    auto *validator = new QDoubleValidator(1, MaxPoints, 1, cboFontSize);
    validator->setNotation(QDoubleValidator::StandardNotation);
    validator->setLocale(QLocale::c());
    cboFontSize->setValidator(validator);
    cboFontSize->setMinimumContentsLength(3);
    addSeparator();
    addWidget(cboFontSize);

    cmdColor->setObjectName(QStringLiteral("cmdColor"));
    cmdColor->setToolTip(QStringLiteral("Text Color"));
    addAction(cmdColor);
    OpenToKeyboard(this);

    connect(cmdBold, &QAction::triggered, this, [this](bool checked) {
        QTextCharFormat format;
        format.setFontWeight(checked ? QFont::Bold : QFont::Normal);
        MergeFormat(format);
    });
    connect(cmdItalic, &QAction::triggered, this, [this](bool checked) {
        QTextCharFormat format;
        format.setFontItalic(checked);
        MergeFormat(format);
    });
    connect(cmdUnderline, &QAction::triggered, this, [this](bool checked) {
        QTextCharFormat format;
        format.setFontUnderline(checked);
        MergeFormat(format);
    });
    connect(cboFontSize, &QComboBox::textActivated, this, &RichTextToolBar::ApplySizeText);
    connect(cmdColor, &QAction::triggered, this, &RichTextToolBar::ChooseColor);
    connect(m_editor, &QTextEdit::currentCharFormatChanged, this, &RichTextToolBar::ShowFormat);

    ShowFormat(m_editor->currentCharFormat());
}

void RichTextToolBar::ApplyColor(const QColor &color)
{
    if (!color.isValid())
        return;
    QTextCharFormat format;
    format.setForeground(color);
    MergeFormat(format);
}

void RichTextToolBar::ApplyFontSize(qreal points)
{
    if (!(points >= 1 && points <= MaxPoints))
        return;
    QTextCharFormat format;
    format.setFontPointSize(points);
    MergeFormat(format);
}

void RichTextToolBar::changeEvent(QEvent *event)
{
    // The shortcuts belong to the actions, which a disabled bar alone would leave working.
    if (event->type() == QEvent::EnabledChange) {
        for (QAction *action : {cmdBold, cmdItalic, cmdUnderline, cmdColor})
            action->setEnabled(isEnabled());
    }
    QToolBar::changeEvent(event);
}

void RichTextToolBar::MergeFormat(const QTextCharFormat &format)
{
    if (m_editor->isReadOnly()) {
        ShowFormat(m_editor->currentCharFormat());
        return;
    }
    QTextCursor cursor = m_editor->textCursor();
    if (!cursor.hasSelection()) {
        // Only a cursor inside a word means that word: at either end the user is about to type on,
        // and switching bold off after a bold word must not take it from that word.
        const int at = cursor.position();
        cursor.select(QTextCursor::WordUnderCursor);
        if (cursor.selectionStart() < at && at < cursor.selectionEnd())
            cursor.mergeCharFormat(format);
    }
    m_editor->mergeCurrentCharFormat(format);
    ShowFormat(m_editor->currentCharFormat());
}

void RichTextToolBar::ShowFormat(const QTextCharFormat &format)
{
    const QFont font = format.font();
    cmdBold->setChecked(font.bold());
    cmdItalic->setChecked(font.italic());
    cmdUnderline->setChecked(font.underline());

    const qreal points = format.hasProperty(QTextFormat::FontPointSize)
                             ? format.fontPointSize()
                             : m_editor->document()->defaultFont().pointSizeF();
    const QString text = points > 0 ? sizeText(points) : QString();
    const int index = cboFontSize->findText(text);
    if (index >= 0)
        cboFontSize->setCurrentIndex(index);
    else
        cboFontSize->setEditText(text);

    const QBrush brush = format.foreground();
    ShowColor(brush.style() == Qt::NoBrush ? m_editor->palette().color(QPalette::Text) : brush.color());
}

void RichTextToolBar::ApplySizeText(const QString &text)
{
    bool ok = false;
    const qreal points = text.trimmed().toDouble(&ok);
    if (ok)
        ApplyFontSize(points);
    else
        ShowFormat(m_editor->currentCharFormat());
    m_editor->setFocus();
}

void RichTextToolBar::ChooseColor()
{
    const QColor color = QColorDialog::getColor(m_color, window(), QStringLiteral("Text Color"));
    if (color.isValid())
        ApplyColor(color);
    m_editor->setFocus();
}

void RichTextToolBar::ShowColor(const QColor &color)
{
    if (color == m_color && !cmdColor->icon().isNull())
        return;
    m_color = color;
    // A letter over a bar of the colour at the cursor, as word processors show it.
    const int side = iconSize().height() > 0 ? iconSize().height() : 16;
    const qreal ratio = devicePixelRatioF();
    QPixmap pixmap(QSize(side, side) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    QFont font = this->font();
    font.setBold(true);
    font.setPixelSize(side * 2 / 3);
    painter.setFont(font);
    painter.setPen(palette().color(QPalette::WindowText));
    const int bar = qMax(3, side / 5);
    painter.drawText(QRect(0, 0, side, side - bar), Qt::AlignCenter, QStringLiteral("A"));
    painter.fillRect(QRect(1, side - bar, side - 2, bar), color);
    painter.end();
    cmdColor->setIcon(QIcon(pixmap));
}
