#pragma once

#include <QByteArrayView>

#include <algorithm>
#include <cstring>

// What the RTF parser's byte loop and its control-word handling both need to read a token.
namespace RtfToken {

// A name given as a literal has its length worked out when compiled: the parser asks this of
// every control word of every text, and measuring the names each time cost as much as the rest.
inline bool is(QByteArrayView word, QByteArrayView name)
{
    return word.size() == name.size() && std::memcmp(word.data(), name.data(), std::size_t(name.size())) == 0;
}

// The value of a hex digit, -1 for any other byte.
inline int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

inline int clampInt(long long value, int low, int high)
{
    return int(std::clamp<long long>(value, low, high));
}

} // namespace RtfToken
