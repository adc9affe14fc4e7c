#include "SettingKeys.h"

#include <array>

namespace {

template <std::size_t N> SettingKey pick(const std::array<SettingKey, N> &keys, int index)
{
    Q_ASSERT(index >= 1 && index <= int(N));
    return keys.at(std::size_t(qBound(1, index, int(N)) - 1));
}

constexpr std::array<SettingKey, 5> bookmarkColumns{{
    {"Detail", "B_COL1", "3200"},
    {"Detail", "B_COL2", "1600"},
    {"Detail", "B_COL3", "3400"},
    {"Detail", "B_COL4", "1100"},
    {"Detail", "B_COL5", "2600"},
}};
constexpr std::array<SettingKey, 3> favoriteColumns{{
    {"Detail", "F_COL1", nullptr},
    {"Detail", "F_COL2", nullptr},
    {"Detail", "F_COL3", nullptr},
}};
constexpr std::array<SettingKey, 5> searchColumns{{
    {"Detail", "S_COL1", nullptr},
    {"Detail", "S_COL2", nullptr},
    {"Detail", "S_COL3", nullptr},
    {"Detail", "S_COL4", nullptr},
    // The Hits column, which Find fills after listing its results.
    {"Detail", "S_COL5", nullptr},
}};
constexpr std::array<SettingKey, 3> viewColumns{{
    {"View", "COL1", "3980"},
    {"View", "COL2", "2900"},
    {"View", "COL3", "2270"},
}};
constexpr std::array<SettingKey, 3> viewControlColumns{{
    {"ViewControl", "COL1", "3800"},
    {"ViewControl", "COL2", "2699"},
    {"ViewControl", "COL3", "1640"},
}};
constexpr std::array<SettingKey, 6> findCategories{{
    {"Find", "chkFC1", "1"},
    {"Find", "chkFC2", "1"},
    {"Find", "chkFC3", "1"},
    {"Find", "chkFC4", "1"},
    {"Find", "chkFC5", "1"},
    {"Find", "chkFC6", "1"},
}};
constexpr std::array<SettingKey, 3> findFields{{
    {"Find", "chkFF1", "1"},
    {"Find", "chkFF2", "1"},
    {"Find", "chkFF3", "1"},
}};

} // namespace

namespace SettingKeys {

SettingKey BookmarkColumn(int index)
{
    return pick(bookmarkColumns, index);
}
SettingKey FavoriteColumn(int index)
{
    return pick(favoriteColumns, index);
}
SettingKey SearchColumn(int index)
{
    return pick(searchColumns, index);
}
SettingKey ViewColumn(int index)
{
    return pick(viewColumns, index);
}
SettingKey ViewControlColumn(int index)
{
    return pick(viewControlColumns, index);
}
SettingKey FindCategory(int index)
{
    return pick(findCategories, index);
}
SettingKey FindField(int index)
{
    return pick(findFields, index);
}

QList<SettingKey> All()
{
    QList<SettingKey> all{FirstRun,
                          TOD,
                          TipNumber,
                          LastSearchText,
                          ClipTop,
                          ClipLeft,
                          ClipWidth,
                          ClipHeight,
                          QCFont,
                          AppLayout,
                          BrowsStart,
                          FileView,
                          ImportPictures,
                          LayoutTree,
                          LayoutDetail,
                          LayoutImgs1Left,
                          LayoutImgs2Top,
                          LayoutDetailHeight,
                          TreeSearchText,
                          DetailSelTab,
                          ViewSelTab,
                          ViewWrapLines,
                          FileWindowWrapLines,
                          ViewSections,
                          BrowsePopups,
                          BrowseSearchPage,
                          ImportFolder,
                          BackupsKeep,
                          ExportFolder,
                          RecentStores,
                          LastShared,
                          WindowGeometry};
    const auto append = [&all](const auto &keys) {
        all.append(QList<SettingKey>(keys.begin(), keys.end()));
    };
    append(bookmarkColumns);
    append(favoriteColumns);
    append(searchColumns);
    append(viewColumns);
    append(viewControlColumns);
    append(findCategories);
    append(findFields);
    return all;
}

bool IsWriteOnly(const SettingKey &setting)
{
    return setting.section() == QLatin1String(LastSearchText.Section) &&
           setting.key() == QLatin1String(LastSearchText.Key);
}

} // namespace SettingKeys
