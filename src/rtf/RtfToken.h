#pragma once

#include <QByteArrayView>

#include <algorithm>
#include <cstring>

// What the RTF parser's byte loop and its control-word handling both need to read a token.
namespace RtfToken {

inline bool is(QByteArrayView word, const char *name)
{
    const auto length = qsizetype(std::strlen(name));
    return word.size() == length && std::memcmp(word.data(), name, std::size_t(length)) == 0;
}

inline int clampInt(long long value, int low, int high)
{
    return int(std::clamp<long long>(value, low, high));
}

} // namespace RtfToken
