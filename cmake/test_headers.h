// Compiled once, for all test programs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cmake/standard_headers.h"
