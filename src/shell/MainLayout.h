#pragma once

#include <QRect>

#include <optional>

// Where the main window's panes and splitter bars go, computed in twips from the splitter positions
// and the panes' visibility. The window only converts the answer to pixels, so every rule of the
// layout (the limits of the bars, the minimum window, the fixed details height while the window is
// resized) lives here and is tested without a screen.
class MainLayout final
{
public:
    static constexpr int SplitterThickness = 30;
    static constexpr int TitleStripHeight = 375;
    static constexpr int MinWindowWidth = 9000;
    static constexpr int MinWindowHeight = 6300;
    // The vertical bar keeps this far from either side of the client area.
    static constexpr int SideMargin = 1000;
    // The horizontal bar keeps this far from the client bottom; a bar dragged too high lands here.
    static constexpr int BottomMargin = 970;
    static constexpr int DesignS1Left = 3720;
    static constexpr int DesignDetailHeight = 2295;

    // Geometry of one SizeControls pass. A pane whose width or height would be negative (a hidden
    // pane, or a window too small for it) has no rectangle and stays where it was.
    struct Placement
    {
        std::optional<QRect> tree;
        std::optional<QRect> view;
        std::optional<QRect> details;
        std::optional<QRect> imgS1;
        QRect imgS2;
        QRect titleStrip;
    };

    // `clientWidth`/`clientHeight` are the client area, `screenWidth` the whole screen (the
    // horizontal bar spans it so it never has to be widened). With `blnForm` the details pane keeps
    // its height and the horizontal bar follows the window's bottom edge; without, the pane follows
    // the bar. Updates the bars and the details height as the window's own code would.
    Placement SizeControls(int clientWidth, int clientHeight, int screenWidth, bool blnForm);

    // Where the drag indicator goes for a bar at `barPosition` with the pointer `offset` into it:
    // within 0 and `limit` (the client width or height).
    static int DragPosition(int barPosition, int offset, int limit);

    // The saved layout of section Layout, read only when the user asked for it to be remembered.
    // Each value that does not parse leaves the design value. `clientHeight` gives the default of
    // the horizontal bar.
    void Restore(int clientHeight);
    void Save() const;

    bool treeVisible = true;
    bool detailVisible = true;
    int titleHeight = TitleStripHeight;
    int imgS1Left = DesignS1Left;
    int imgS2Top = 0;
    int detailHeight = DesignDetailHeight;
};
