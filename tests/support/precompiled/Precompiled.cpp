// The precompiled header is part of a target, and a target has a file to compile.
#include "tests/support/precompiled/Precompiled.h" // IWYU pragma: keep
