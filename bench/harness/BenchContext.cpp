#include "BenchContext.h"

#include "BenchReport.h"
#include "BenchTimer.h"
#include "data/modADO.h"
#include "store/StoreAddress.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

BenchContext::BenchContext(QString suite, QString storePath, int runs)
    : m_suite(std::move(suite)), m_storePath(std::move(storePath)), m_runs(runs)
{}

bool BenchContext::openStore(modADO *store) const
{
    ErrObject err;
    if (store->Open(m_storePath, &err))
        return true;
    note(err.Description);
    return false;
}

bool BenchContext::openCopy(QTemporaryDir *work, modADO *store, QString *copyPath) const
{
    // A shared library is not copied (that would take longer than the measuring): the suite
    // measures on it, and what it writes stays there.
    if (StoreAddress::IsShared(m_storePath)) {
        note(QStringLiteral("measured on the shared library itself, which keeps what the suite writes."));
        if (copyPath)
            *copyPath = m_storePath;
        return openStore(store);
    }
    const QFileInfo original(m_storePath);
    const QString copy = work->filePath(QStringLiteral("copy.lkb"));
    if (!work->isValid() || !QFile::copy(original.absoluteFilePath(), copy)) {
        note(QStringLiteral("cannot copy the store beside itself; not measured."));
        return false;
    }
    if (copyPath)
        *copyPath = copy;
    ErrObject err;
    if (store->Open(copy, &err))
        return true;
    note(err.Description);
    return false;
}

bool BenchContext::compare(const QString &name, const std::function<bool()> &ours,
                           const std::function<bool()> &baseline, const std::function<void()> &tidyOurs,
                           const std::function<void()> &tidyBaseline) const
{
    const std::optional<double> oursMs = BenchTimer::medianMs(ours, m_runs, tidyOurs);
    if (!oursMs) {
        note(name + QStringLiteral(": our operation failed; not measured."));
        return false;
    }
    const std::optional<double> baselineMs = BenchTimer::medianMs(baseline, m_runs, tidyBaseline);
    if (!baselineMs) {
        note(name + QStringLiteral(": the baseline failed; not measured."));
        return false;
    }
    BenchReport::print(m_suite, name, *oursMs, *baselineMs);
    return true;
}

QString BenchContext::scratchTemplate(const QString &name) const
{
    const QString folder =
        StoreAddress::IsShared(m_storePath) ? QDir::tempPath() : QFileInfo(m_storePath).absolutePath();
    return folder + QStringLiteral("/lorekeep-bench-") + name + QStringLiteral("-XXXXXX");
}

void BenchContext::note(const QString &text) const
{
    BenchReport::note(QStringLiteral("lorekeep-bench ") + m_suite + QStringLiteral(": ") + text);
}
