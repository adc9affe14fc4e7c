#pragma once

#include <QString>

#include <functional>

class QWidget;

// Long work with the window kept alive: the work runs on a worker thread while the window goes on
// painting; once it has taken half a second a window-modal progress dialog shows how far it got
// and offers Cancel. Printing, backups and the library check share it.
class BackgroundWork final
{
public:
    enum class Outcome { Done, Cancelled, Failed };

    // How far the work got: its stage (the work's own numbering), and `done` of `total` units
    // (a `total` of 0 when the size is not known).
    struct Step
    {
        int stage = 0;
        qint64 done = 0;
        qint64 total = 0;
    };
    // Told of each step; answers false once the user cancelled.
    using Report = std::function<bool(const Step &)>;
    // Runs on the worker thread and must not touch widgets or the window's store connection.
    // False with `error` in words for the user when it failed.
    using Work = std::function<bool(const Report &report, QString *error)>;

    // What the dialog shows for a step: the bar out of 1000, or a busy bar for a negative value.
    struct Shown
    {
        int value = -1;
        QString text;
    };
    using Describe = std::function<Shown(const Step &)>;

    // Runs `work`, with `title` on the progress dialog over `window`. Returns once the work has
    // ended, also after Cancel (the step at hand is finished first).
    static Outcome Run(QWidget *window, const QString &title, const Work &work, const Describe &describe,
                       QString *error);
    // True while a Run is under way: its loop lets queued work run, which must not start long work
    // of its own in the middle of it.
    static bool Busy();
};
