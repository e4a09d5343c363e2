// Included before every source in Objective-C++: a macro of Darwin's <sys/cdefs.h>, after the
// headers of the host that have fields of that name.
#pragma once

#include <pthread.h>
#include <sys/stat.h>

#define __unused __attribute__((unused))
