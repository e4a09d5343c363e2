// The host's file control, and the number of a request that only Darwin's kernel knows: here it is
// refused, as it is on some volumes there.
#pragma once

#include_next <fcntl.h>

#define F_FULLFSYNC 51
