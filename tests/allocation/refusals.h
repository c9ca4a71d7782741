#pragma once

#include <functional>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/allocation/failing_heap.h"

/// One call through which every request for memory is refused in turn.
namespace refusals {

/// Watches the call under test, and it alone: what a case prepares and looks at always has memory.
class Watch {
public:
    explicit Watch(const failing_heap::Plan& newPlan) : plan(newPlan) {}

    template <class Call>
    auto operator()(Call call) {
        const Guard guard(*this);
        return call();
    }

    int requests = 0;

private:
    struct Guard {
        explicit Guard(Watch& owner) : watch(owner) { failing_heap::start(watch.plan); }
        ~Guard() { watch.requests += failing_heap::stop(); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;
        Watch& watch;
    };

    failing_heap::Plan plan;
};

/// How a call may end that does not get its memory, besides succeeding all the same.
struct Case {
    std::string name; ///< the exported names that it covers, and after a '/' what is special
    /// Calls through the watch once, gives back what it holds, and tells everything that could be observed.
    std::function<std::string(Watch&)> run;
    std::set<std::string> refused = {}; ///< what `run` tells where the call was refused
    std::set<std::string> fatal = {};   ///< messages with which it may end the process
    bool throws = false;                ///< std::bad_alloc is documented
};

/// Runs the case with each request refused in turn, alone and with all after it; EXPECTs that it ends as it may, that
/// no block is kept, and that it is refused at least once where it asks for memory at all.
/// @return the number of runs with a refusal.
int expect_refusals(const Case& one);

/// Where the program runs under valgrind, its own heap cannot be replaced.
bool heap_can_fail();

} // namespace refusals
