// The oldest names of integers.
#pragma once

#include <stddef.h>
#include <stdint.h>

typedef uint8_t UInt8;
typedef int32_t SInt32;
typedef uint32_t UInt32;
typedef uint32_t UTF32Char;
typedef unsigned char Boolean;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;
