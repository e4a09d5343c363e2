// What clang lays out for the runtime "gnustep-1.9" and what GCC's libobjc reads, as far as the two
// are the same: a module, its classes, categories and protocols. Sources: clang's CGObjCGNU.cpp and
// GCC's libobjc/module-abi-8.h.
#pragma once

#include <cstddef>
#include <cstdint>

namespace objc_host {

struct Object;
struct ClassData;
struct SelectorData;

using Id = Object*;
using Class = ClassData*;
using Selector = const SelectorData*;
using Method = Id (*)(Id, Selector, ...);

struct Object {
    Class isa;
};

struct Protocol;
struct ProtocolList {
    ProtocolList* next;
    std::size_t count;
    Protocol* protocols[1];
};
struct Protocol {
    std::uintptr_t isa; // a version, until the runtime puts the class there
    const char* name;
    ProtocolList* protocols;
};

struct InstanceVariable {
    const char* name;
    const char* type;
    int offset;
};
struct InstanceVariableList {
    int count;
    InstanceVariable variables[1];
};

struct ClassData {
    Class isa;
    const char* superclassName; // until the runtime puts the class there
    const char* name;
    long version;
    unsigned long info;
    long instanceSize; // not above zero: minus that, to be added to the superclass's
    InstanceVariableList* variables;
    void* methods;
    void* dispatchTable;
    Class subclasses;
    Class siblings;
    ProtocolList* protocols;
    void* collection;
    // Only clang's classes go on here.
    long abiVersion;
    int** variableOffsets;
};

struct Category {
    const char* name;
    const char* className;
    void* instanceMethods;
    void* classMethods;
    ProtocolList* protocols;
};

struct SymbolTable {
    unsigned long selectorCount;
    void* selectors;
    unsigned short classCount;
    unsigned short categoryCount;
    void* definitions[1]; // the classes, then the categories
};

struct Module {
    unsigned long version;
    unsigned long size;
    const char* name;
    SymbolTable* symbols;
};

struct Super {
    Id self;
    Class superclass;
};

struct MethodData;

extern "C" {
Method objc_msg_lookup(Id receiver, Selector selector);
Method objc_msg_lookup_super(Super* super, Selector selector);
Selector sel_registerName(const char* name);
Class objc_lookUpClass(const char* name);
MethodData* class_getInstanceMethod(Class owner, Selector selector);
Method method_setImplementation(MethodData* method, Method implementation);
}

// Sends a message without arguments. Nothing to nobody.
inline Id send(Id receiver, Selector selector) {
    return receiver == nullptr ? nullptr : objc_msg_lookup(receiver, selector)(receiver, selector);
}

} // namespace objc_host
