// The unified log, kept in memory for OSLogStore. It takes one format, a public C string, and
// stores no more than about a kilobyte of a message, as the system does.
// https://developer.apple.com/documentation/os/logging
#import <OSLog/OSLog.h>
#include <os/log.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t longestMessage = 1000;

struct Entry {
    std::string subsystem;
    std::string message;
};

class Store {
  public:
    void add(Entry entry) {
        const std::lock_guard lock(mutex_);
        entries_.push_back(std::move(entry));
    }
    [[nodiscard]] std::vector<Entry> all() {
        const std::lock_guard lock(mutex_);
        return entries_;
    }

  private:
    std::mutex mutex_;
    std::vector<Entry> entries_;
};

Store& store() {
    static auto* const kept = new Store;
    return *kept;
}

} // namespace

@interface HostLog : NSObject <OS_os_log> {
  @public
    std::string subsystem;
}
@end
@implementation HostLog
@end

// The only predicate in use compares the subsystem.
@interface HostSubsystemPredicate : NSObject {
  @public
    std::string subsystem;
}
@end
@implementation HostSubsystemPredicate
@end
@implementation NSPredicate (Host)
+ (NSPredicate*)predicateWithFormat:(NSString*)format, ... {
    HostSubsystemPredicate* const made = [[HostSubsystemPredicate alloc] init];
    std::va_list arguments;
    va_start(arguments, format);
    made->subsystem = va_arg(arguments, NSString*).UTF8String;
    va_end(arguments);
    return static_cast<NSPredicate*>(static_cast<id>(made));
}
@end

@implementation OSLogEntry
@end

@implementation OSLogStore
+ (OSLogStore*)storeWithScope:(NSInteger)__unused scope error:(NSError**)__unused error {
    return [[OSLogStore alloc] init];
}
- (NSArray<OSLogEntry*>*)entriesEnumeratorWithOptions:(NSUInteger)__unused options
                                             position:(id)__unused position
                                            predicate:(NSPredicate*)predicate
                                                error:(NSError**)__unused error {
    const auto& wanted =
        static_cast<HostSubsystemPredicate*>(static_cast<id>(predicate))->subsystem;
    NSMutableArray<OSLogEntry*>* const found = [NSMutableArray array];
    for (const Entry& entry : store().all()) {
        if (entry.subsystem == wanted) {
            OSLogEntry* const made = [[OSLogEntry alloc] init];
            made.composedMessage = [NSString stringWithUTF8String:entry.message.c_str()];
            [found addObject:made];
        }
    }
    return found;
}
@end

extern "C" {

os_log_t os_log_create(const char* subsystem, const char* /*category*/) {
    HostLog* const made = [[HostLog alloc] init];
    made->subsystem = subsystem;
    return made;
}

bool os_log_type_enabled(os_log_t /*log*/, os_log_type_t /*type*/) { return true; }

// The buffer is clang's: flags, the number of arguments, and for each its kind, its size and its
// bytes.
void _os_log_impl(void* /*image*/, os_log_t log, os_log_type_t /*type*/, const char* format,
                  uint8_t* buffer, uint32_t /*size*/) {
    constexpr uint8_t publicString = 0x22;
    const char* text = nullptr;
    if (std::strcmp(format, "%{public}s") != 0 || buffer[1] != 1 || buffer[2] != publicString ||
        buffer[3] != sizeof text) {
        std::fprintf(stderr, "os_log: the format %s is not known here\n", format);
        std::abort();
    }
    std::memcpy(&text, buffer + 4, sizeof text);
    const std::string message = std::string(text).substr(0, longestMessage);
    if (std::getenv("COCOA_HOST_LOG") != nullptr) {
        std::fprintf(stderr, "%s\n", message.c_str());
    }
    store().add({static_cast<HostLog*>(static_cast<NSObject*>(log))->subsystem, message});
}

} // extern "C"
