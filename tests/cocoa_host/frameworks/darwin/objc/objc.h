// The words of Objective-C, on the host's libobjc. BOOL is a byte there, as it is on Intel Macs.
#pragma once

#include <stddef.h>
#include <stdint.h>

typedef struct objc_class* Class;
typedef struct objc_object {
    Class isa;
}* id;
typedef const struct objc_selector* SEL;
typedef id (*IMP)(id, SEL, ...);
typedef unsigned char BOOL;

#define YES __objc_yes
#define NO __objc_no
#define nil nullptr
#define Nil nullptr
