#include "SectionList.h"

#include "ShownPart.h"

#include <QAbstractTextDocumentLayout>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextEdit>

#include <algorithm>
#include <cmath>

SectionList::SectionList(QTextEdit *edit, QWidget *parent) : QListWidget(parent), m_edit(edit)
{
    setObjectName(QStringLiteral("lstSections"));
    setAccessibleName(QStringLiteral("Sections"));
    setUniformItemSizes(true);
    setTextElideMode(Qt::ElideRight);
    setSelectionMode(QAbstractItemView::SingleSelection);
    m_following.setSingleShot(true);
    m_following.setInterval(30);
    connect(&m_following, &QTimer::timeout, this, &SectionList::follow);
    connect(m_edit->verticalScrollBar(), &QScrollBar::valueChanged, &m_following, qOverload<>(&QTimer::start));
    connect(this, &QListWidget::currentRowChanged, this, [this](int row) {
        if (!m_followingNow)
            scrollToSection(row);
    });
    // A click on the section already selected takes the text back to it.
    connect(this, &QListWidget::itemClicked, this, [this](QListWidgetItem *item) { scrollToSection(row(item)); });
}

QSize SectionList::sizeHint() const
{
    return {fontMetrics().averageCharWidth() * 32, QListWidget::sizeHint().height()};
}

void SectionList::SetSections(const QList<Section> &sections)
{
    m_sections = sections;
    m_chosenRow = -1;
    m_followingNow = true;
    clear();
    for (const Section &section : sections) {
        auto *item = new QListWidgetItem(QString(2 * std::min(section.level - 1, 4), QLatin1Char(' ')) + section.title);
        item->setToolTip(section.title);
        addItem(item);
    }
    m_followingNow = false;
    if (!sections.isEmpty())
        follow();
}

void SectionList::scrollToSection(int row)
{
    if (row < 0 || row >= m_sections.size())
        return;
    QTextDocument *document = m_edit->document();
    const QTextBlock block = document->findBlock(m_sections.at(row).position);
    if (!block.isValid())
        return;
    // The cursor goes along, so that the keys read on from the section.
    m_edit->setTextCursor(QTextCursor(block));
    const QRectF place = document->documentLayout()->blockBoundingRect(block);
    // Rounded down, the line above would show a pixel of itself and count as the top one.
    m_edit->verticalScrollBar()->setValue(int(std::ceil(place.top())));
    m_chosenRow = row;
    m_chosenScroll = m_edit->verticalScrollBar()->value();
}

void SectionList::follow()
{
    m_following.stop();
    if (m_sections.isEmpty())
        return;
    int row = m_chosenRow;
    if (m_chosenRow < 0 || m_edit->verticalScrollBar()->value() != m_chosenScroll) {
        m_chosenRow = -1;
        // With the end of the text in view, the last heading in view is where the reader is.
        const int bottom = LastShownPosition(m_edit);
        const bool atEnd =
            m_edit->verticalScrollBar()->value() > 0 && !m_edit->document()->findBlock(bottom).next().isValid();
        const int top = atEnd ? bottom : FirstShownPosition(m_edit);
        const auto after = std::upper_bound(m_sections.cbegin(), m_sections.cend(), top,
                                            [](int at, const Section &section) { return at < section.position; });
        // Above the first heading none is selected.
        row = int(after - m_sections.cbegin()) - 1;
    }
    if (row == currentRow())
        return;
    m_followingNow = true;
    setCurrentRow(row);
    if (row >= 0)
        scrollToItem(item(row));
    m_followingNow = false;
}
