// Core Foundation's geometry, which Foundation's is made of.
#ifndef ZORVANE_INTERFACE_COREFOUNDATION
#define ZORVANE_INTERFACE_COREFOUNDATION

typedef double CGFloat;

struct CGPoint {
    CGFloat x;
    CGFloat y;
};
typedef struct CGPoint CGPoint;

struct CGSize {
    CGFloat width;
    CGFloat height;
};
typedef struct CGSize CGSize;

struct CGRect {
    CGPoint origin;
    CGSize size;
};
typedef struct CGRect CGRect;

#endif
