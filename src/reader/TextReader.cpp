#include "TextReader.h"

#include "FindBar.h"
#include "SectionList.h"
#include "system/SettingsStore.h"
#include "widgets/DeferredIcon.h"
#include "widgets/RichText.h"
#include "widgets/RichTextLoader.h"

#include <QAction>
#include <QFutureWatcher>
#include <QSplitter>
#include <QStyle>
#include <QTextDocument>
#include <QTextEdit>
#include <QVBoxLayout>
#include <QtConcurrent>

namespace {

// How long the typing in an edited text pauses before its sections are found again.
constexpr int editPause = 800;

} // namespace

TextReader::TextReader(QTextEdit *edit, QWidget *parent)
    : QWidget(parent),
      m_edit(edit),
      m_splitter(new QSplitter(Qt::Horizontal, this)),
      lstSections(new SectionList(edit, this)),
      m_findBar(new FindBar(edit, this)),
      m_sectionsAction(new QAction(this))
{
    setObjectName(QStringLiteral("TextReader"));
    m_splitter->setObjectName(QStringLiteral("picSections"));
    m_splitter->addWidget(lstSections);
    m_splitter->addWidget(edit);
    m_splitter->setChildrenCollapsible(false);
    m_splitter->setStretchFactor(1, 1);
    lstSections->setMinimumWidth(80);
    lstSections->hide();
    m_findBar->HandleKeysOf(lstSections);
    connect(m_splitter, &QSplitter::splitterMoved, this, [this] { m_listWidth = lstSections->width(); });

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_splitter, 1);
    layout->addWidget(m_findBar);

    m_sectionsAction->setObjectName(QStringLiteral("actSections"));
    m_sectionsAction->setText(QStringLiteral("&Sections"));
    m_sectionsAction->setIcon(
        QIcon::fromTheme(QStringLiteral("view-list-tree"), DeferredStandardIcon(QStyle::SP_FileDialogListView, this)));
    m_sectionsWanted = GetSetting(SettingKeys::ViewSections) != QLatin1String("0");
    UseSectionsAction(m_sectionsAction);

    m_finding.setSingleShot(true);
    connect(&m_finding, &QTimer::timeout, this, &TextReader::findSections);
    connect(edit, &QTextEdit::textChanged, this, &TextReader::textChanged);
    textChanged();
}

void TextReader::UseSectionsAction(QAction *action)
{
    if (action != m_sectionsAction) {
        delete m_sectionsAction;
        m_sectionsAction = action;
    }
    action->setCheckable(true);
    action->setChecked(m_sectionsWanted);
    action->setEnabled(!lstSections->Sections().isEmpty());
    action->setToolTip(QStringLiteral("Show or hide the list of the text's sections"));
    connect(action, &QAction::triggered, this, [this](bool checked) {
        m_sectionsWanted = checked;
        SaveSetting(SettingKeys::ViewSections, checked ? QStringLiteral("1") : QStringLiteral("0"));
        applySectionsShown();
    });
}

void TextReader::textChanged()
{
    QTextDocument *document = m_edit->document();
    const auto completing = [this] {
        const auto *loader = m_edit->findChild<RichTextLoader *>();
        return loader && loader->IsCompleting();
    };
    if (document != m_document && completing()) {
        // The whole of the text whose beginning showed: a search waiting for it runs, and the
        // sections are found in all of it.
        m_document = document;
        ++m_generation;
        m_findBar->TextCompleted();
        m_finding.start(0);
        return;
    }
    // A text the user cannot edit changes only when another takes its place (or it is cleared).
    if (document != m_document || m_edit->isReadOnly()) {
        m_document = document;
        ++m_generation;
        m_findBar->Forget();
        // The list keeps its place until the new text's sections are known: hiding it and showing
        // it again would have the text laid out twice over.
        lstSections->SetSections({});
        m_finding.start(0);
    } else {
        m_findBar->TextEdited();
        m_finding.start(editPause);
    }
}

void TextReader::findSections()
{
    const quint64 generation = ++m_generation;
    // Of a long text only the beginning shows while the whole is read; the list keeps its place
    // for the whole.
    if (IsStartOfRichText(m_edit->document()))
        return;
    if (m_edit->document()->isEmpty()) {
        showSections({});
        return;
    }
    // The paragraphs are read here, where the document lives; the search for headings in them,
    // which looks at each line and its neighbours, runs on a worker thread.
    auto *watcher = new QFutureWatcher<QList<Section>>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher, generation] {
        watcher->deleteLater();
        if (generation == m_generation)
            showSections(watcher->result());
    });
    watcher->setFuture(QtConcurrent::run(FindSections, DocumentBlocks(m_edit->document())));
}

void TextReader::showSections(const QList<Section> &sections)
{
    lstSections->SetSections(sections);
    m_sectionsAction->setEnabled(!sections.isEmpty());
    applySectionsShown();
}

void TextReader::applySectionsShown()
{
    const bool shown = m_sectionsWanted && !lstSections->Sections().isEmpty();
    if (shown && lstSections->isHidden()) {
        // The list takes its width from the text, never more than a third of it: a text squeezed
        // narrow is laid out again as a great many short lines, which holds a long one up.
        const int whole = m_splitter->width();
        const int list = std::min(m_listWidth > 0 ? m_listWidth : lstSections->sizeHint().width(), whole / 3);
        lstSections->show();
        if (whole > 0)
            m_splitter->setSizes({list, whole - list - m_splitter->handleWidth()});
    }
    lstSections->setVisible(shown);
}
