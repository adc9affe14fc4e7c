#include "frmFind.h"

#include "QuickFindLog.h"
#include "base/AppPath.h"
#include "base/ErrorLog.h"
#include "components/FindIndexBuilder.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "data/modNames.h"
#include "search/FileSearch.h"
#include "store/SharedStore.h"
#include "store/StoreAddress.h"
#include "system/NaturalOrder.h"
#include "system/Prompts.h"
#include "system/SettingsStore.h"
#include "system/Twips.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFile>
#include <QGridLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QSet>
#include <QShortcut>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// The details pane's tab where the hits are listed.
constexpr int searchResultsTab = 3;

const QString module = QStringLiteral("frmFind");

// Window and frame heights in twips, without and with the game lists.
constexpr int WindowHeight = 2790;
constexpr int WindowHeightGame = 3615;
constexpr int FrameHeight = 2480;
constexpr int FrameHeightGame = 3285;

// Where the window opens, in pixels from the top left of the screen's work area, and its size.
constexpr QPoint Place(170, 190);
constexpr QSize Size(503, 187);

const char *const categoryCaptions[] = {
    "Walkthrough\\Guide", "Cheat\\Hint\\Code", "Review", "Preview", "News", "Web Link"};
const char *const fieldCaptions[] = {"Description", "Source", "Text"};

// The results' title after a search the user stopped.
QString stoppedTitle(qint64 found)
{
    return QStringLiteral("%1 %2 found before the search was stopped.")
        .arg(found)
        .arg(found == 1 ? QStringLiteral("item") : QStringLiteral("items"));
}

QString phraseLog()
{
    return AppPath() + QStringLiteral("quickfind.log");
}

// Where a platform comes in the list: the code table's order, unknown codes after the known ones.
int platformOrder(quint8 platformId)
{
    return modNames::GetPlatformName(platformId).isEmpty() ? 256 + platformId : platformId;
}

QCheckBox *makeCheck(const QString &name, const char *caption)
{
    auto *check = new QCheckBox(QString::fromLatin1(caption));
    check->setObjectName(name);
    return check;
}

} // namespace

frmFind::frmFind(QWidget *parent)
    : QWidget(parent, Qt::Window | Qt::WindowStaysOnTopHint),
      Frame1(new QFrame),
      cboFind(new QComboBox),
      cmdFind(new QPushButton(QStringLiteral("&Find"))),
      cmdCancel(new QPushButton(QStringLiteral("&Cancel"))),
      Frame3(new QGroupBox(QStringLiteral("Categories:"))),
      Frame2(new QGroupBox(QStringLiteral("Fields:"))),
      chk1(new QCheckBox(QStringLiteral("Search Within Game..."))),
      picGame(new QWidget),
      cboPlatform(new QComboBox),
      cboGame(new QComboBox),
      Label1(new QLabel(QStringLiteral(" Games: 0")))
{
    setObjectName(QStringLiteral("frmFind"));
    setWindowTitle(QStringLiteral("Find Files..."));
    setAttribute(Qt::WA_DeleteOnClose);
    buildWindow();
}

frmFind::~frmFind() = default;

void frmFind::buildWindow()
{
    Frame1->setObjectName(QStringLiteral("Frame1"));
    Frame1->setFrameShape(QFrame::StyledPanel);
    cboFind->setObjectName(QStringLiteral("cboFind"));
    cmdFind->setObjectName(QStringLiteral("cmdFind"));
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    Frame3->setObjectName(QStringLiteral("Frame3"));
    Frame2->setObjectName(QStringLiteral("Frame2"));
    chk1->setObjectName(QStringLiteral("chk1"));
    picGame->setObjectName(QStringLiteral("picGame"));
    cboPlatform->setObjectName(QStringLiteral("cboPlatform"));
    cboGame->setObjectName(QStringLiteral("cboGame"));
    Label1->setObjectName(QStringLiteral("Label1"));

    cboFind->setEditable(true);
    // The phrase is searched with case significant: the box must not complete it to a listed
    // phrase of another case, nor add what was typed to the list.
    cboFind->setCompleter(nullptr);
    cboFind->setInsertPolicy(QComboBox::NoInsert);
    cboFind->installEventFilter(this);
    cboFind->setAccessibleName(QStringLiteral("Phrase"));
    cmdFind->setEnabled(false);

    auto *categories = new QGridLayout(Frame3);
    categories->setContentsMargins(6, 2, 6, 2);
    categories->setVerticalSpacing(0);
    for (int i = 0; i < int(chkFileCat.size()); ++i) {
        chkFileCat[i] = makeCheck(QStringLiteral("chkFileCat%1").arg(i + 1), categoryCaptions[i]);
        categories->addWidget(chkFileCat[i], i / 2, i % 2);
    }
    auto *fields = new QVBoxLayout(Frame2);
    fields->setContentsMargins(6, 2, 6, 2);
    fields->setSpacing(0);
    for (int i = 0; i < int(chkFileField.size()); ++i) {
        chkFileField[i] = makeCheck(QStringLiteral("chkFileField%1").arg(i + 1), fieldCaptions[i]);
        fields->addWidget(chkFileField[i]);
    }

    auto *game = new QHBoxLayout(picGame);
    game->setContentsMargins(0, 0, 0, 0);
    game->addWidget(cboPlatform, 1);
    game->addWidget(cboGame, 2);
    game->addWidget(Label1);
    cboPlatform->setAccessibleName(QStringLiteral("Platform"));
    cboGame->setAccessibleName(QStringLiteral("Game"));
    cboPlatform->setEnabled(false);
    cboGame->setEnabled(false);
    picGame->setVisible(false);

    auto *grid = new QGridLayout(Frame1);
    grid->setContentsMargins(6, 4, 6, 4);
    grid->setSpacing(4);
    grid->addWidget(cboFind, 0, 0, 1, 2);
    grid->addWidget(cmdFind, 0, 2);
    grid->addWidget(Frame3, 1, 0, 2, 1);
    grid->addWidget(Frame2, 1, 1, 2, 1);
    grid->addWidget(cmdCancel, 1, 2, Qt::AlignTop);
    grid->addWidget(chk1, 3, 0, 1, 3);
    grid->addWidget(picGame, 4, 0, 1, 3);
    grid->setRowStretch(5, 1);
    // The check boxes keep their captions whole whatever the rows below them hold; the space the
    // phrase and the game lists have beyond that goes to the categories.
    Frame3->setMinimumWidth(Frame3->sizeHint().width());
    Frame2->setMinimumWidth(Frame2->sizeHint().width());
    Frame2->setSizePolicy(QSizePolicy::Maximum, Frame2->sizePolicy().verticalPolicy());
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(1, 0);
    Frame1->setFixedHeight(Twips::toPixelsY(FrameHeight));

    auto *layout = new QVBoxLayout(this);
    // The window keeps its own size, whatever the fonts ask for; the controls share what there is.
    layout->setSizeConstraint(QLayout::SetNoConstraint);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(Frame1);
    layout->addStretch(1);
    // Whoever opens the window means to type the phrase.
    cboFind->setFocus();

    connect(cboFind, &QComboBox::currentTextChanged, this, &frmFind::cboFind_Change);
    connect(cmdFind, &QPushButton::clicked, this, &frmFind::cmdFind_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &QWidget::close);
    connect(chk1, &QCheckBox::toggled, this, &frmFind::chk1_Click);
    connect(cboPlatform, &QComboBox::currentIndexChanged, this, &frmFind::cboPlatform_Click);
    auto *escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    connect(escape, &QShortcut::activated, this, &QWidget::close);
}

void frmFind::showEvent(QShowEvent *event)
{
    Form_Load();
    QWidget::showEvent(event);
}

void frmFind::Form_Load()
{
    if (m_loaded)
        return;
    m_loaded = true;
    for (int i = 0; i < int(chkFileCat.size()); ++i)
        chkFileCat[i]->setChecked(SettingNumber(GetSetting(SettingKeys::FindCategory(i + 1))) == 1L);
    for (int i = 0; i < int(chkFileField.size()); ++i)
        chkFileField[i]->setChecked(SettingNumber(GetSetting(SettingKeys::FindField(i + 1))) == 1L);

    // The main window's screen, where the user is working.
    const QScreen *screen = parentWidget() ? parentWidget()->screen() : this->screen();
    const QPoint origin = screen ? screen->availableGeometry().topLeft() : QPoint();
    move(origin + Place);
    resize(Size);

    loadPlatforms();
    loadPhrases();
}

void frmFind::loadPlatforms()
{
    ErrObject err;
    if (!GameIndex::Read(m_store->Connection(), &m_games, &err)) {
        LogError(err, module, QStringLiteral("Form_Load"), false);
        return;
    }
    std::sort(m_games.begin(), m_games.end(),
              [](const IndexedGame &a, const IndexedGame &b) { return NaturalLess(a.name, b.name); });
    QVector<quint8> platforms;
    for (const IndexedGame &game : qAsConst(m_games)) {
        if (!platforms.contains(game.platform_id))
            platforms.append(game.platform_id);
    }
    std::sort(platforms.begin(), platforms.end(),
              [](quint8 a, quint8 b) { return platformOrder(a) < platformOrder(b); });
    const QSignalBlocker quiet(cboPlatform);
    for (const quint8 platform : qAsConst(platforms)) {
        const QString name = modNames::GetPlatformName(platform);
        cboPlatform->addItem(name.isEmpty() ? QString::number(platform) : name, platform);
    }
    // The platform the user is working in comes up, with its game; else the second platform, or
    // the only one of a store with games on one platform only.
    const int start = cboPlatform->findData(m_startPlatform);
    cboPlatform->setCurrentIndex(m_startPlatform != 0 && start >= 0 ? start : std::min(1, cboPlatform->count() - 1));
    cboPlatform_Click();
    if (m_startGame != 0 && start >= 0)
        cboGame->setCurrentIndex(std::max(0, cboGame->findData(m_startGame)));
}

void frmFind::loadPhrases()
{
    cboFind->clear();
    QFile file(phraseLog());
    if (!file.exists())
        return;
    if (!file.open(QIODevice::ReadOnly)) {
        LogError({ErrNumber::PathFileAccess, file.errorString()}, module, QStringLiteral("Form_Load"), false);
        return;
    }
    const QSignalBlocker quiet(cboFind);
    cboFind->addItems(QuickFindLog::Phrases(file.readAll()));
    // The list offers the phrases; the box itself starts empty.
    cboFind->setCurrentIndex(-1);
    cboFind->clearEditText();
}

void frmFind::cboPlatform_Click()
{
    const quint8 platform = quint8(cboPlatform->currentData().toUInt());
    cboGame->clear();
    int count = 0;
    if (cboPlatform->currentIndex() >= 0) {
        for (const IndexedGame &game : qAsConst(m_games)) {
            if (game.platform_id == platform) {
                cboGame->addItem(game.name, game.auto_id);
                ++count;
            }
        }
    }
    Label1->setText(QStringLiteral(" Games: ") + QString::number(count));
}

void frmFind::chk1_Click()
{
    const bool withinGame = chk1->isChecked();
    cboPlatform->setEnabled(withinGame);
    cboGame->setEnabled(withinGame);
    picGame->setVisible(withinGame);
    Frame1->setFixedHeight(Twips::toPixelsY(withinGame ? FrameHeightGame : FrameHeight));
    resize(width(), Twips::toPixelsY(withinGame ? WindowHeightGame : WindowHeight));
}

void frmFind::cboFind_Change()
{
    cmdFind->setEnabled(!FileSearch::TrimBlanks(cboFind->currentText()).isEmpty());
}

bool frmFind::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == cboFind) {
        if (event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent *>(event)->key();
            if (key == Qt::Key_Return || key == Qt::Key_Enter) {
                const QPointer<frmFind> alive(this);
                cmdFind_Click();
                if (alive && isVisible())
                    cboFind->setFocus();
                return true;
            }
        } else if (event->type() == QEvent::FocusIn) {
            // After the click that brought the focus has placed the cursor.
            QTimer::singleShot(0, cboFind, [box = cboFind] {
                if (box->lineEdit())
                    box->lineEdit()->selectAll();
            });
        }
    }
    return QWidget::eventFilter(watched, event);
}

void frmFind::cmdFind_Click()
{
    if (m_run) {
        m_run->Stop();
        return;
    }
    const QString phrase = FileSearch::TrimBlanks(cboFind->currentText());
    if (phrase.isEmpty()) {
        close();
        return;
    }
    Q_EMIT ClearSearch();
    Q_EMIT SelectTab(searchResultsTab);

    FindRequest request;
    request.Phrase = phrase;
    // Without a game shown in the list there is no game to keep to.
    if (chk1->isChecked() && cboGame->currentIndex() >= 0)
        request.Criteria.GameId = cboGame->currentData().toInt();
    for (int i = 0; i < int(chkFileCat.size()); ++i) {
        if (chkFileCat[i]->isChecked())
            request.Criteria.SubCats.append(quint8(i + 1));
    }
    request.Desc = chkFileField[0]->isChecked();
    request.Src = chkFileField[1]->isChecked();
    request.Text = chkFileField[2]->isChecked();
    Q_EMIT Searched(phrase, request.Text);
    if (!request.Desc && !request.Src && !request.Text) {
        MsgBox(QStringLiteral("You don't have any fields selected!"), MsgButtons::OK, MsgIcon::Exclamation,
               QStringLiteral("Lorekeep"));
        return;
    }
    // The next Find offers the phrase again; a log that cannot be written costs only that.
    ErrObject logErr;
    if (!QuickFindLog::Add(phraseLog(), phrase, &logErr))
        LogError(logErr, module, QStringLiteral("cmdFind_Click"), false);

    const QString procedure = QStringLiteral("cmdFind_Click");
    const QSqlDatabase db = m_store->Connection();
    ErrObject err;
    qint64 rows = 0;
    if (!FileSearch::CountRows(db, request.Criteria, &rows, &err)) {
        LogError(err, module, procedure, false);
        return;
    }
    if (rows == 0) {
        MsgBox(QStringLiteral("No records found."));
        return;
    }
    // Files waiting for the index (changed by another program, or left when its building was
    // stopped) are indexed with the progress shown, not inside a search that seems to hang.
    const QPointer<frmFind> alive(this);
    FindIndexBuilder::Build(this, db);
    if (!alive)
        return;
    // A shared library without its trigram index is searched by reading every file: said once per
    // library and session, with the line its owner can run.
    static QSet<QString> toldSlow;
    if (StoreAddress::IsShared(db) && !toldSlow.contains(StoreAddress::Name(db))) {
        ErrObject slow;
        if (!SharedStore::EnsureTrigrams(db, &slow)) {
            toldSlow.insert(StoreAddress::Name(db));
            MsgBox(slow.Description, MsgButtons::OK, MsgIcon::Information, QStringLiteral("Find Files"));
        }
    }
    // The hits are listed as they are found; the search runs on while the user looks at them.
    m_found = 0;
    m_gameKeys.clear();
    m_run = std::make_unique<FindRun>(StoreAddress::Name(db), request);
    connect(m_run.get(), &FindRun::Found, this, &frmFind::listHits);
    connect(m_run.get(), &FindRun::Ended, this, &frmFind::searchEnded);
    cmdFind->setText(QStringLiteral("&Stop"));
    cmdFind->setToolTip(QStringLiteral("Stop searching; the files found so far stay listed."));
    QGuiApplication::setOverrideCursor(Qt::BusyCursor);
    m_run->Start();
}

void frmFind::listHits(const QVector<FindHit> &hits)
{
    const QString field = QStringLiteral("File");
    for (const FindHit &hit : hits) {
        Q_EMIT AddSearch(hit.FileId, modNames::GetPlatformName(hit.PlatformId), hit.GameName, hit.SubCat, hit.Desc,
                         m_gameKeys.Of(hit.GameId, hit.GenreId, hit.PlatformId), field);
    }
    m_found += hits.size();
}

void frmFind::searchEnded(const FindRun::Outcome &outcome)
{
    QGuiApplication::restoreOverrideCursor();
    // The run goes once this slot has returned: it is the sender.
    FindRun *const run = m_run.release();
    run->deleteLater();
    cmdFind->setText(QStringLiteral("&Find"));
    cmdFind->setToolTip({});
    const QString procedure = QStringLiteral("cmdFind_Click");
    const FindRequest &request = run->Request();
    if (!outcome.Ok) {
        LogError(outcome.Error, module, procedure, false);
        return;
    }
    if (outcome.Repair.Tried && !outcome.Repair.Done)
        LogError(outcome.Repair.Failure, module, procedure, false);
    if (outcome.Repair.Done)
        MsgBox(QStringLiteral("The search index was damaged and has been rebuilt; the results are complete."),
               MsgButtons::OK, MsgIcon::Information, QStringLiteral("Lorekeep"));
    if (outcome.Stopped) {
        // The files found so far stay listed, and the window stays for another try.
        Q_EMIT SearchTitle(stoppedTitle(m_found));
        Q_EMIT CountHits(request);
        return;
    }
    Q_EMIT SearchTitle(QString::number(m_found) +
                       (m_found == 1 ? QStringLiteral(" item found.") : QStringLiteral(" items found.")));
    Q_EMIT CountHits(request);

    hide();
    MsgBox(QStringLiteral("Finished!"), MsgButtons::OK, MsgIcon::Information, QStringLiteral("Lorekeep"));
    close();
}

void frmFind::closeEvent(QCloseEvent *event)
{
    // Closing the window stops its search; what it found stays listed.
    if (m_run) {
        disconnect(m_run.get(), nullptr, this, nullptr);
        m_run.reset();
        QGuiApplication::restoreOverrideCursor();
        Q_EMIT SearchTitle(stoppedTitle(m_found));
    }
    // A window that never opened has nothing of the user's to keep.
    if (m_loaded)
        saveChecks();
    QWidget::closeEvent(event);
}

void frmFind::saveChecks() const
{
    const auto state = [](const QCheckBox *check) {
        return check->isChecked() ? QStringLiteral("1") : QStringLiteral("0");
    };
    QList<std::pair<SettingKey, QString>> values;
    for (int i = 0; i < int(chkFileCat.size()); ++i)
        values.append({SettingKeys::FindCategory(i + 1), state(chkFileCat[i])});
    for (int i = 0; i < int(chkFileField.size()); ++i)
        values.append({SettingKeys::FindField(i + 1), state(chkFileField[i])});
    SaveSettings(values);
}
