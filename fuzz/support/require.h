#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/error.h"

namespace orvix::fuzz {

/// Ends the run, which keeps its input, when something does not hold that always must.
inline void Require(bool holds, const std::string& what) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", what.c_str());
    std::abort();
}

/// Runs a step on what has come from outside. Raising an Error that says why is a right answer to it; any other
/// exception ends the run. Returns whether the step ran to its end.
template <class Step>
bool Accepts(Step&& step) {
    try {
        step();
        return true;
    } catch (const Error& error) {
        Require(error.Number != errors::None && !error.Description.empty(), "an error has a number and a text");
        return false;
    }
}

}  // namespace orvix::fuzz
