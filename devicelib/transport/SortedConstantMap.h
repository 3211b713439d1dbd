// An ordered map whose entries are fixed when the library is built: keys
// sorted in one constant array, values in a parallel one, looked up by binary
// search. For a small table that never changes this keeps the map's contract
// (ordered iteration, logarithmic lookup) without its costs: nothing is
// allocated or filled when a transport is made, and a search reads a few
// adjacent cache lines of keys instead of chasing tree nodes over the heap.
#ifndef QUORVALE_SORTED_CONSTANT_MAP_H
#define QUORVALE_SORTED_CONSTANT_MAP_H

#include <cstddef>

template <typename Key, typename Value, std::size_t N>
struct SortedConstantMap {
    struct Entry {
        Key key;
        Value value;
    };

    static constexpr std::size_t largestPowerOfTwoAtMost(std::size_t n)
    {
        std::size_t p = 1;
        while (p * 2 <= n)
            p *= 2;
        return p;
    }
    static constexpr std::size_t kWindow = largestPowerOfTwoAtMost(N);

    // The steps of floorIndex below the window `At`..`At + 2 * Step`: one
    // comparison with a key at a constant position, then the half that holds
    // `key`. Inlined whole, this is a tree of comparisons whose every leaf is
    // a constant position.
    template <std::size_t At, std::size_t Step>
    __attribute__((always_inline)) std::size_t descend(Key key) const
    {
        if constexpr (Step == 0) {
            return At;
        } else {
            if (keys[At + Step] <= key)
                return descend<At + Step, Step / 2>(key);
            return descend<At, Step / 2>(key);
        }
    }

    Key keys[N];      // ascending
    Value values[N];  // values[i] belongs to keys[i]

    class const_iterator {
    public:
        constexpr const_iterator(const SortedConstantMap* map, std::size_t index) : m_map(map), m_index(index) {}
        constexpr Entry operator*() const { return {m_map->keys[m_index], m_map->values[m_index]}; }
        constexpr const_iterator& operator++()
        {
            ++m_index;
            return *this;
        }
        constexpr bool operator==(const const_iterator& other) const { return m_index == other.m_index; }
        constexpr bool operator!=(const const_iterator& other) const { return m_index != other.m_index; }

    private:
        const SortedConstantMap* m_map;
        std::size_t m_index;
    };

    constexpr std::size_t size() const { return N; }
    constexpr const_iterator begin() const { return {this, 0}; }
    constexpr const_iterator end() const { return {this, N}; }

    // The value of `key`, or null.
    const Value* find(Key key) const
    {
        const std::size_t at = indexOf(key);
        return at != N ? &values[at] : nullptr;
    }

    // The position of `key` in key order, or N (size()) when it is absent.
    std::size_t indexOf(Key key) const
    {
        if constexpr (N == 0) {
            return N;
        } else {
            const std::size_t at = floorIndex(key);
            return keys[at] == key ? at : N;
        }
    }

    // The position of the last key not above `key` (0 when every key is
    // above it): `key` is present exactly when keys[floorIndex(key)] equals it.
    // Binary search in steps fixed at compile time (a first step picks one of
    // two overlapping windows of the largest power of two not above N, then
    // each step halves it), unrolled into a tree of comparisons in which every
    // position compared, and the answer, is a constant: no step waits for the
    // one before it to compute where to look. A transport asks for the same
    // few requests again and again, so the branches are well predicted and
    // the loads are issued ahead; and where the map itself is a constant the
    // compiler sees, the keys compared and the answer become immediates.
    __attribute__((always_inline)) std::size_t floorIndex(Key key) const
    {
        static_assert(N > 0, "no position in an empty map");
        if (keys[N - kWindow] <= key)
            return descend<N - kWindow, kWindow / 2>(key);
        return descend<0, kWindow / 2>(key);
    }

    std::size_t count(Key key) const { return find(key) != nullptr ? 1 : 0; }

    // What a binary search relies on; checked where a table is built.
    constexpr bool strictlyAscending() const
    {
        for (std::size_t i = 1; i < N; ++i)
            if (!(keys[i - 1] < keys[i]))
                return false;
        return true;
    }

    // Puts entries filled in any order into key order (at compile time).
    constexpr void sort()
    {
        for (std::size_t i = 1; i < N; ++i) {
            const Key key = keys[i];
            const Value value = values[i];
            std::size_t j = i;
            for (; j > 0 && key < keys[j - 1]; --j) {
                keys[j] = keys[j - 1];
                values[j] = values[j - 1];
            }
            keys[j] = key;
            values[j] = value;
        }
    }
};

#endif
