#include "tests/allocation/refusals.h"

#include <cstdio>
#include <cstdlib>
#include <new>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/checkers.h"
#include "tests/support/fatal.h"

namespace refusals {
namespace {

const std::string outOfMemory = "std::bad_alloc";

struct Ending {
    std::string told;    // by the case; empty where the process ended
    std::string message; // of a fatal error
    int requests = 0;
    long kept = 0; // blocks
    std::string wrong;
};

Ending run_here(const Case& one, const failing_heap::Plan& plan) {
    Ending ending;
    const long before = failing_heap::live_blocks();
    long after = 0;
    char told[4096] = {}; // no block of its own
    {
        Watch watch(plan);
        try {
            const std::string text = one.run(watch);
            std::snprintf(told, sizeof told, "%s", text.c_str());
        } catch (const std::bad_alloc&) {
            std::snprintf(told, sizeof told, "%s", outOfMemory.c_str());
        }
        ending.requests = watch.requests;
        after = failing_heap::live_blocks();
    }
    ending.kept = after - before;
    ending.told = told;
    return ending;
}

std::string read_all(int pipe) {
    std::string text;
    char part[4096];
    for (ssize_t got = 0; (got = read(pipe, part, sizeof part)) > 0;) {
        text.append(part, static_cast<std::size_t>(got));
    }
    close(pipe);
    return text;
}

// The same in a process of its own, which may end.
Ending run_apart(const Case& one, const failing_heap::Plan& plan) {
    int results[2] = {-1, -1};
    int errors[2] = {-1, -1};
    if (pipe(results) != 0 || pipe(errors) != 0) {
        return {"", "", 0, 0, "no pipe"};
    }
    const pid_t child = fork();
    if (child == 0) {
        support::expect_no_release();
        alarm(60);
        dup2(errors[1], STDERR_FILENO);
        const Ending ending = run_here(one, plan);
        const std::string text =
            std::to_string(ending.requests) + " " + std::to_string(ending.kept) + " " + ending.told;
        const bool sent = write(results[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
        _exit(sent ? 0 : 3);
    }
    close(results[1]);
    close(errors[1]);
    const std::string text = read_all(results[0]);
    const std::string error = read_all(errors[0]);
    int status = 0;
    waitpid(child, &status, 0);
    Ending ending;
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        int length = 0;
        if (std::sscanf(text.c_str(), "%d %ld %n", &ending.requests, &ending.kept, &length) < 2) {
            ending.wrong = "the child told nothing";
        }
        ending.told = text.substr(static_cast<std::size_t>(length));
    } else if (WIFEXITED(status) && WEXITSTATUS(status) == 1) {
        ending.requests = plan.first + 1; // at least
        for (const std::string& message : one.fatal) {
            ending.message = error == support::fatal_lines(message) ? message : ending.message;
        }
        ending.wrong = ending.message.empty() ? "ended with status 1 and: " + error : "";
    } else {
        ending.wrong = "ended with wait status " + std::to_string(status) + " and: " + error;
    }
    return ending;
}

} // namespace

bool heap_can_fail() {
    return !support::under_valgrind();
}

int expect_refusals(const Case& one) {
    const auto run = [&](const failing_heap::Plan& plan) {
        return one.fatal.empty() ? run_here(one, plan) : run_apart(one, plan);
    };
    run_here(one, {}); // what is made once, on first use, is made here
    const Ending whole = run_here(one, {});
    EXPECT_EQ(whole.kept, 0) << one.name << " keeps memory where nothing is refused";
    EXPECT_EQ(one.refused.count(whole.told), 0U) << one.name << " is refused with all the memory it asks for";
    EXPECT_NE(whole.told, outOfMemory) << one.name;
    int runs = 0;
    bool refusedOnce = false;
    for (const bool thoseAfter : {false, true}) {
        for (int first = 0;; ++first) {
            const Ending ending = run({first, thoseAfter});
            if (ending.wrong.empty() && ending.requests <= first) {
                EXPECT_EQ(ending.told, whole.told) << one.name << ", nothing refused";
                break;
            }
            ++runs;
            const std::string where =
                one.name + ", request " + std::to_string(first) + (thoseAfter ? " and after" : "");
            EXPECT_EQ(ending.wrong, "") << where;
            EXPECT_EQ(ending.kept, 0) << where << ": blocks kept";
            const bool ended = !ending.message.empty() || one.refused.count(ending.told) != 0 ||
                               (one.throws && ending.told == outOfMemory);
            EXPECT_TRUE(!ending.wrong.empty() || ended || ending.told == whole.told)
                << where << "\ntells: " << ending.told << "\nnot:   " << whole.told;
            refusedOnce = refusedOnce || ended;
            if (runs > 5000) {
                ADD_FAILURE() << one.name << " does not come to an end";
                return runs;
            }
        }
    }
    const bool mayEnd = !one.fatal.empty() || !one.refused.empty() || one.throws;
    EXPECT_EQ(refusedOnce, mayEnd) << one.name << (mayEnd ? " was never refused" : "");
    return runs;
}

} // namespace refusals
