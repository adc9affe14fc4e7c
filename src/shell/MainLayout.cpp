#include "MainLayout.h"

#include "system/SettingsStore.h"

#include <algorithm>
#include <limits>

namespace {

std::optional<QRect> movable(int left, int top, int width, int height)
{
    if (width < 0 || height < 0)
        return std::nullopt;
    return QRect(left, top, width, height);
}

// A stored length that does not fit the window's integers is as unreadable as text would be.
std::optional<int> storedLength(const SettingKey &setting, const QString &defaultValue)
{
    const auto number = SettingNumber(GetSetting(setting.section(), setting.key(), defaultValue));
    if (!number || *number < std::numeric_limits<int>::min() || *number > std::numeric_limits<int>::max())
        return std::nullopt;
    return int(*number);
}

} // namespace

MainLayout::Placement MainLayout::SizeControls(int clientWidth, int clientHeight, int screenWidth, bool blnForm)
{
    const int sw = clientWidth;
    const int sh = clientHeight;
    Placement placement;

    int treeRight = 0;
    if (treeVisible) {
        // The right-hand limit wins when the window is too narrow for both.
        if (imgS1Left > sw - SideMargin)
            imgS1Left = sw - SideMargin;
        else if (imgS1Left < SideMargin)
            imgS1Left = SideMargin;
        treeRight = imgS1Left + SplitterThickness;
    }

    int bottomTop = sh;
    if (detailVisible) {
        if (blnForm)
            imgS2Top = sh - detailHeight - SplitterThickness;
        // Past the top limit of 1000 the bar lands at 970, the distance the bottom keeps.
        if (imgS2Top > sh - BottomMargin)
            imgS2Top = sh - BottomMargin;
        else if (imgS2Top < SideMargin)
            imgS2Top = BottomMargin;
        bottomTop = imgS2Top;
    }
    placement.imgS2 = QRect(0, imgS2Top, screenWidth, SplitterThickness);
    placement.titleStrip = QRect(0, 0, sw, titleHeight);

    const int mainHeight = bottomTop - titleHeight;
    placement.tree = movable(0, titleHeight, treeRight - SplitterThickness, mainHeight);
    placement.view = movable(treeRight, titleHeight, sw - treeRight, mainHeight);
    const int detailsTop = bottomTop + SplitterThickness;
    placement.details = movable(0, detailsTop, sw, sh - detailsTop);
    if (placement.details)
        detailHeight = placement.details->height();
    placement.imgS1 = movable(imgS1Left, titleHeight, SplitterThickness, mainHeight);
    return placement;
}

int MainLayout::DragPosition(int barPosition, int offset, int limit)
{
    return std::clamp(barPosition + offset, 0, std::max(limit, 0));
}

void MainLayout::Restore(int clientHeight)
{
    if (const auto tree = SettingBool(GetSetting(SettingKeys::LayoutTree)))
        treeVisible = *tree;
    if (const auto detail = SettingBool(GetSetting(SettingKeys::LayoutDetail)))
        detailVisible = *detail;
    if (const auto left = storedLength(SettingKeys::LayoutImgs1Left, SettingKeys::LayoutImgs1Left.defaultValue()))
        imgS1Left = *left;
    const QString defaultTop = QString::number(clientHeight - DesignDetailHeight - SplitterThickness);
    if (const auto top = storedLength(SettingKeys::LayoutImgs2Top, defaultTop))
        imgS2Top = *top;
    if (const auto height =
            storedLength(SettingKeys::LayoutDetailHeight, SettingKeys::LayoutDetailHeight.defaultValue()))
        detailHeight = *height;
}

void MainLayout::Save() const
{
    SaveSettings({{SettingKeys::LayoutTree, SettingText(treeVisible)},
                  {SettingKeys::LayoutDetail, SettingText(detailVisible)},
                  {SettingKeys::LayoutImgs1Left, QString::number(imgS1Left)},
                  {SettingKeys::LayoutImgs2Top, QString::number(imgS2Top)},
                  {SettingKeys::LayoutDetailHeight, QString::number(detailHeight)}});
}
