#pragma once

#include <cstddef>
#include <iosfwd>
#include <string_view>
#include <vector>

namespace obg::test {

/** One call of operator new or operator delete. */
struct HeapEvent
{
    enum class Kind
    {
        New,
        Delete,
    };

    Kind kind;
    /** The bytes asked for. */
    std::size_t size;
    /** Whether all bytes of the block were zero: for New always, for Delete when it was given back. */
    bool zeroed;
    /** Whether the block named to watch() was all zeros at that moment; true when there is none. */
    bool watchedBlockZeroed;
};

/** Shows the event in a failure message. */
void PrintTo(const HeapEvent& event, std::ostream* stream);

/**
 * For the scope, the calls of operator new and delete in order, and the blocks that went back: they are kept as they
 * were, and can be searched. New blocks are zeroed, so that bytes other than zero were written by their user. Programs
 * that link obg_watched_heap have its two operators; what libxml2 allocates itself, it takes from malloc and is not
 * seen here. Only one object at a time, of one thread.
 */
class WatchedHeap
{
public:
    WatchedHeap();
    ~WatchedHeap();
    WatchedHeap(const WatchedHeap&) = delete;
    WatchedHeap& operator=(const WatchedHeap&) = delete;

    /** Has each further event tell whether this block, until it is given back, is all zeros. */
    void watch(const void* block);

    /** What happened so far. Ends the recording, so that what a test does with the answer is no part of it. */
    std::vector<HeapEvent> events() const;

    /** How many of the blocks given back so far hold these bytes. Ends the recording. */
    std::size_t blocksWith(std::string_view bytes) const;

    /** How many blocks were given back so far. */
    std::size_t blocks() const;
};

} // namespace obg::test
