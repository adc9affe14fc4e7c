#pragma once

#include <QList>
#include <QString>

// One persisted setting: its section, its key and the value a reader gets when the entry is absent.
// A null default marks a value the reader computes itself (noted at the key).
struct SettingKey
{
    const char *Section;
    const char *Key;
    const char *Default;

    QString section() const { return QString::fromLatin1(Section); }
    QString key() const { return QString::fromLatin1(Key); }
    QString defaultValue() const { return Default ? QString::fromLatin1(Default) : QString(); }
    bool hasDefault() const { return Default != nullptr; }
};

// Every key the program reads or writes. Callers use these instead of spelling sections and keys.
namespace SettingKeys {

// Settings: first run, tip of the day, tree search, Quick Clip window.
constexpr SettingKey FirstRun{"Settings", "FirstRun", "0"};
constexpr SettingKey TOD{"Settings", "TOD", "1"};
// The tip the tip of the day shows next (counting from 1), so each start brings a new one.
constexpr SettingKey TipNumber{"Settings", "TipNumber", "1"};
// Written by the tree search and read by nothing: kept for a user who edits the file.
constexpr SettingKey LastSearchText{"Settings", "LastSearchText", ""};
// Quick Clip geometry: the window's own design geometry when absent.
constexpr SettingKey ClipTop{"Settings", "ClipTop", nullptr};
constexpr SettingKey ClipLeft{"Settings", "ClipLeft", nullptr};
constexpr SettingKey ClipWidth{"Settings", "ClipWidth", nullptr};
constexpr SettingKey ClipHeight{"Settings", "ClipHeight", nullptr};
constexpr SettingKey QCFont{"Settings", "QCFont", "Courier New"};

// Options: the three user options of the Options dialog.
constexpr SettingKey AppLayout{"Options", "AppLayout", "0"};
// Browser start page: "Start.html" in the home folder when absent.
constexpr SettingKey BrowsStart{"Options", "BrowsStart", nullptr};
constexpr SettingKey FileView{"Options", "FileView", "3"};
// Whether a page imported from the browser keeps its pictures in the file's text ("1") or links to them.
constexpr SettingKey ImportPictures{"Options", "ImportPictures", "1"};

// Layout of the main window (splitter positions in twips).
constexpr SettingKey LayoutTree{"Layout", "ctlTree", "True"};
constexpr SettingKey LayoutDetail{"Layout", "Detail", "True"};
constexpr SettingKey LayoutImgs1Left{"Layout", "imgs1Left", "3720"};
// Horizontal splitter: the client height less the details height and the splitter when absent.
constexpr SettingKey LayoutImgs2Top{"Layout", "imgs2Top", nullptr};
constexpr SettingKey LayoutDetailHeight{"Layout", "DetailHeight", "2295"};

constexpr SettingKey TreeSearchText{"Tree", "SearchText", "Search..."};

constexpr SettingKey DetailSelTab{"Detail", "SelTab", "1"};
constexpr SettingKey ViewSelTab{"View", "SelTab", "1"};
// View > Wrap Lines, and the same in file windows: whether a text in a fixed-pitch font wraps at the
// window's edge ("1") or keeps its lines as written ("0").
constexpr SettingKey ViewWrapLines{"View", "WrapLines", "0"};
constexpr SettingKey FileWindowWrapLines{"FileWindow", "WrapLines", "0"};
// Whether a text's list of sections shows beside it, in the file view and in file windows alike.
constexpr SettingKey ViewSections{"View", "Sections", "1"};

constexpr SettingKey BrowsePopups{"BrowseSettings", "Popups", "1"};
// The page the browser's Search button opens.
constexpr SettingKey BrowseSearchPage{"BrowseSettings", "SearchPage", "https://duckduckgo.com/"};

// The folder File > Import Files and Import Folder open in: the one files were last imported from.
constexpr SettingKey ImportFolder{"Settings", "ImportFolder", ""};
// How many backups of the store the "Backups" folder keeps; older ones are deleted.
constexpr SettingKey BackupsKeep{"Backups", "Keep", "10"};

// The folder File > Export to PDF and Export Game to PDF open in: the one a PDF was last written to.
constexpr SettingKey ExportFolder{"Settings", "ExportFolder", ""};

// File > Open Recent: the stores opened last, newest first, one a line; a shared library's address
// is kept without its password.
constexpr SettingKey RecentStores{"Recent", "Stores", ""};
// The address (without its password) of the shared library the user opened last, which a start
// without a file opens in the place of the home's store; empty once the user opened a store file.
constexpr SettingKey LastShared{"Recent", "SharedLibrary", ""};

// The main window's size, position and maximised state, kept apart from the preferences above
// (base64 of QWidget::saveGeometry; empty until the window first closes).
constexpr SettingKey WindowGeometry{"MainWindow", "Geometry", ""};

// Indexed keys. Bookmark columns 1-5; favorites 1-3 and search results 1-4 default to widths the
// details pane computes from the screen width.
SettingKey BookmarkColumn(int index);
SettingKey FavoriteColumn(int index);
SettingKey SearchColumn(int index);
// File list column widths 1-3: "View" at creation, "ViewControl" when the layout is restored.
SettingKey ViewColumn(int index);
SettingKey ViewControlColumn(int index);
// Find Files: category check boxes 1-6 and field check boxes 1-3.
SettingKey FindCategory(int index);
SettingKey FindField(int index);

// Every key above, the indexed ones with each of their indexes.
QList<SettingKey> All();
// Keys the program writes and never reads.
bool IsWriteOnly(const SettingKey &setting);

} // namespace SettingKeys
