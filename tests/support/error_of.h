#pragma once

#include "host/error.h"

namespace orvix::tests {

/// The error that a step raises, of whatever kind; of number None when it raises nothing.
template <class Step>
Error ErrorOf(Step step) {
    try {
        step();
    } catch (...) {
        return CurrentError();
    }
    return {errors::None, ""};
}

}  // namespace orvix::tests
