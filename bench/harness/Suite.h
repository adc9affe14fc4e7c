#pragma once

#include <QList>
#include <QString>

class BenchContext;

// A benchmark suite: the name it is run by and the function that runs it. The function prints one
// line per measurement through BenchContext::compare and returns the exit code, non-zero when it
// could not measure. Every suite is a row of the table in Suite.cpp.
struct Suite
{
    const char *name;
    const char *summary;
    int (*run)(const BenchContext &context);

    static QList<Suite> all();
    static const Suite *find(const QString &name);
};
