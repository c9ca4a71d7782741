#pragma once

/// The heap of this program and of every library in it (malloc, calloc, realloc and operator new), which serves or
/// refuses as a test wishes.
namespace failing_heap {

/// Which of the watched requests are refused.
struct Plan {
    int first = -1;          ///< index, from 0, of the first that is refused; negative: none
    bool thoseAfter = false; ///< and all that follow
};

/// Requests are counted, and refused by plan, until stop() is called.
void start(const Plan& plan);

/// @return how many requests there were since start().
int stop();

/// Blocks that were had and not given back, of the whole program.
long live_blocks();

/// Requests made while an instance lives are neither counted nor refused: those of the test itself, inside a watched
/// call.
class Pause {
public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;

private:
    bool before;
};

} // namespace failing_heap
