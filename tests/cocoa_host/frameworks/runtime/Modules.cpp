// Every object file with Objective-C in it hands its module to __objc_exec_class() before main().
// This one stands before libobjc's: it rewrites clang's modules in place to the format that
// libobjc reads, and passes everything on. Whatever it does not know ends the process at once.
#include "tests/cocoa_host/frameworks/runtime/Abi.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>

namespace objc_host {
namespace {

// Without and with automatic counting.
constexpr unsigned long clangsModuleVersions[] = {9, 10};
constexpr unsigned long libobjcsModuleVersion = 8;
constexpr std::uintptr_t clangsProtocolVersion = 3;
constexpr std::uintptr_t libobjcsProtocolVersion = 2;
constexpr unsigned long newAbiFlag = 0x10; // another meaning in libobjc: under construction

void adapt(ProtocolList* list) {
    for (; list != nullptr; list = list->next) {
        for (std::size_t index = 0; index < list->count; ++index) {
            Protocol& protocol = *list->protocols[index];
            if (protocol.isa == clangsProtocolVersion) {
                protocol.isa = libobjcsProtocolVersion;
                adapt(protocol.protocols);
            }
        }
    }
}

// Instance variables begin where the superclass's end, which only the running program knows.
void layOut(ClassData& made) {
    if (made.instanceSize > 0) {
        return;
    }
    long start = 0;
    if (made.superclassName != nullptr) {
        const Class superclass = objc_lookUpClass(made.superclassName);
        if (superclass == nullptr) {
            std::fprintf(stderr, "the class %s comes before its superclass %s\n", made.name,
                         made.superclassName);
            std::abort();
        }
        constexpr long alignment = alignof(std::max_align_t);
        start = (superclass->instanceSize + alignment - 1) / alignment * alignment;
    }
    made.instanceSize = start - made.instanceSize;
    const int count = made.variables == nullptr ? 0 : made.variables->count;
    for (int index = 0; index < count; ++index) {
        int& offset = made.variables->variables[index].offset;
        offset += static_cast<int>(start);
        *made.variableOffsets[index] = offset;
    }
}

void adapt(ClassData& made) {
    for (ClassData* const half : {&made, made.isa}) {
        half->info &= ~newAbiFlag;
        adapt(half->protocols);
    }
    layOut(made);
}

void adapt(SymbolTable& symbols) {
    void** definition = symbols.definitions;
    for (int left = symbols.classCount; left > 0; --left) {
        adapt(*static_cast<Class>(*definition++));
    }
    for (int left = symbols.categoryCount; left > 0; --left) {
        adapt(static_cast<Category*>(*definition++)->protocols);
    }
}

} // namespace
} // namespace objc_host

extern "C" void __objc_exec_class(objc_host::Module* module) {
    using namespace objc_host;
    if (std::ranges::find(clangsModuleVersions, module->version) !=
        std::end(clangsModuleVersions)) {
        module->version = libobjcsModuleVersion;
        module->size = sizeof(Module);
        adapt(*module->symbols);
    }
    static const auto next =
        reinterpret_cast<void (*)(Module*)>(::dlsym(RTLD_NEXT, "__objc_exec_class"));
    next(module);
}
