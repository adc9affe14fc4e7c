#pragma once

#include <QString>

#include <functional>

class QTemporaryDir;
class modADO;

// What a suite runs with (its name, the store, how many timed runs) and the shared way to
// measure an operation of ours against its baseline.
class BenchContext final
{
public:
    BenchContext(QString suite, QString storePath, int runs);

    QString suite() const { return m_suite; }
    QString storePath() const { return m_storePath; }
    int runs() const { return m_runs; }

    // Opens the store on `store`; when that fails, says why on standard error.
    bool openStore(modADO *store) const;
    // Copies the store into `work`, a folder made beside it (so on the same disk, where commits cost
    // what they cost the user), and opens the copy on `store`: for suites that write. A shared
    // library is opened as it is.
    bool openCopy(QTemporaryDir *work, modADO *store, QString *copyPath = nullptr) const;
    // Times `ours`, then `baseline`, and prints the line "suite/name ...". False, with a note on
    // standard error, when either returns false: nothing was measured then. `tidyOurs` runs untimed
    // after each call of `ours`, `tidyBaseline` after each call of `baseline`.
    bool compare(const QString &name, const std::function<bool()> &ours, const std::function<bool()> &baseline,
                 const std::function<void()> &tidyOurs = {}, const std::function<void()> &tidyBaseline = {}) const;
    // The template of a scratch folder for QTemporaryDir: beside a store file (on the same disk,
    // where writes cost what they cost the user), in the temporary folder for a shared library.
    QString scratchTemplate(const QString &name) const;
    // A note on standard error, prefixed with the program and the suite.
    void note(const QString &text) const;

private:
    QString m_suite;
    QString m_storePath;
    int m_runs;
};
