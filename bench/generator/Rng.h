#pragma once

#include <QtGlobal>

#include <cstddef>

// A small, self-contained generator (xoshiro256** seeded through splitmix64): the same seed gives
// the same sequence with any compiler and any standard library, which std::mt19937 plus the std::
// distributions do not promise.
class Rng final
{
public:
    explicit Rng(quint64 seed)
    {
        for (quint64 &word : m_state)
            word = splitMix(seed);
    }

    quint64 next()
    {
        const quint64 result = rotl(m_state[1] * 5, 7) * 9;
        const quint64 t = m_state[1] << 17;
        m_state[2] ^= m_state[0];
        m_state[3] ^= m_state[1];
        m_state[1] ^= m_state[2];
        m_state[0] ^= m_state[3];
        m_state[2] ^= t;
        m_state[3] = rotl(m_state[3], 45);
        return result;
    }

    // A number in [0, bound); bound must be positive.
    quint32 below(quint32 bound) { return quint32(((next() >> 32) * bound) >> 32); }
    int between(int low, int high) { return low + int(below(quint32(high - low + 1))); }
    // A number in [0, 1) with 53 random bits.
    double unit() { return double(next() >> 11) * (1.0 / 9007199254740992.0); }
    // True `percent` times in a hundred.
    bool chance(int percent) { return below(100) < quint32(percent); }

    template <typename T, std::size_t N> const T &pick(const T (&items)[N]) { return items[below(quint32(N))]; }

private:
    static quint64 rotl(quint64 x, int k) { return (x << k) | (x >> (64 - k)); }
    static quint64 splitMix(quint64 &state)
    {
        quint64 z = (state += 0x9e3779b97f4a7c15ULL);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        return z ^ (z >> 31);
    }

    quint64 m_state[4];
};
