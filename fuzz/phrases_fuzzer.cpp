// libFuzzer target for the phrase list of Find Files... ("quickfind.log"): what the log's bytes give,
// and that the phrases written back, also with a new one on top, give the same list. Build and run it with
// scripts/fuzz phrases.
#include "find/QuickFindLog.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void check(bool holds, const char *promise)
{
    if (!holds) {
        std::fprintf(stderr, "phrases_fuzzer: broken: %s\n", promise);
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QStringList phrases = QuickFindLog::Phrases(bytes);
    for (const QString &phrase : phrases)
        check(!phrase.isEmpty() && !phrase.contains(u'\n') && !phrase.contains(u'\r'), "one line, not empty");
    check(QuickFindLog::Phrases(QuickFindLog::Bytes(phrases)) == phrases,
          "written back, the log gives the same phrases");
    // The bytes taken as one typed phrase: remembered, it tops a list that still reads back whole.
    const QStringList kept = QuickFindLog::Remember(phrases, QString::fromUtf8(bytes.toByteArray()));
    check(kept.size() <= QuickFindLog::MaxPhrases, "at most the newest phrases are kept");
    check(QuickFindLog::Phrases(QuickFindLog::Bytes(kept)) == kept, "a remembered phrase reads back");
    return 0;
}
