// What GNUstep's Foundation does not have, or has in another way than Apple's documentation
// describes it: https://developer.apple.com/documentation/foundation
#import <Foundation/Foundation.h>

#include "tests/cocoa_host/frameworks/doubles/Exchange.h"
#include "tests/cocoa_host/frameworks/doubles/MainLoop.h"
#include "tests/cocoa_host/frameworks/doubles/Observers.h"

#include <dlfcn.h>
#include <pwd.h>
#include <sys/auxv.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <mutex>
#include <string>

// GNUstep's, and Apple's; nothing else here needs them.
extern "C" NSString* NSTemporaryDirectory(void);
extern "C" NSArray* NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory directory,
                                                        NSSearchPathDomainMask domains,
                                                        BOOL expandTilde);

namespace {

NSString* toText(const std::filesystem::path& path) {
    return [NSString stringWithUTF8String:path.c_str()];
}

std::filesystem::path toPath(NSURL* url) { return url.path.UTF8String; }

} // namespace

@implementation NSFileManager (Host)
- (NSURL*)homeDirectoryForCurrentUser {
    return [NSURL fileURLWithPath:NSHomeDirectory() isDirectory:YES];
}
- (NSURL*)homeDirectoryForUser:(NSString*)name {
    if (name.length == 0) {
        return self.homeDirectoryForCurrentUser;
    }
    const struct passwd* const entry = ::getpwnam(name.UTF8String);
    return entry == nullptr ? nil : [NSURL fileURLWithPath:toText(entry->pw_dir) isDirectory:YES];
}
// A folder for what replaces an item is a new one each time; GNUstep's is the one that all
// temporary files share.
- (NSURL*)URLForDirectory:(NSSearchPathDirectory)directory
                 inDomain:(NSSearchPathDomainMask)domain
        appropriateForURL:(NSURL*)__unused url
                   create:(BOOL)create
                    error:(NSError**)__unused error {
    if (directory == NSItemReplacementDirectory) {
        std::string folder = std::string(NSTemporaryDirectory().UTF8String) + "/replacement-XXXXXX";
        return ::mkdtemp(folder.data()) == nullptr
                   ? nil
                   : [NSURL fileURLWithPath:toText(folder) isDirectory:YES];
    }
    NSString* const path = NSSearchPathForDirectoriesInDomains(directory, domain, YES).firstObject;
    if (path != nil && create) {
        std::error_code failed;
        std::filesystem::create_directories(path.UTF8String, failed);
    }
    return path == nil ? nil : [NSURL fileURLWithPath:path isDirectory:YES];
}
// The new item is moved into the place of the original.
- (BOOL)replaceItemAtURL:(NSURL*)original
           withItemAtURL:(NSURL*)item
          backupItemName:(NSString*)__unused backup
                 options:(NSFileManagerItemReplacementOptions)__unused options
        resultingItemURL:(NSURL**)__unused resulting
                   error:(NSError**)__unused error {
    std::error_code failed;
    std::filesystem::rename(toPath(item), toPath(original), failed);
    return failed ? NO : YES;
}
@end

@implementation NSURL (Host)
+ (NSURL*)fileURLWithFileSystemRepresentation:(const char*)path
                                  isDirectory:(BOOL)isDirectory
                                relativeToURL:(NSURL*)__unused base {
    return [NSURL fileURLWithPath:toText(path) isDirectory:isDirectory];
}
// Without a slash at the end, and valid as long as the URL is.
- (const char*)fileSystemRepresentation {
    const std::filesystem::path path = toPath(self);
    return toText(path.has_filename() ? path : path.parent_path()).UTF8String;
}
@end

@implementation NSDictionary (Host)
+ (NSDictionary*)dictionaryWithContentsOfURL:(NSURL*)url error:(NSError**)error {
    NSDictionary* const read = [NSDictionary dictionaryWithContentsOfFile:url.path];
    if (read == nil && error != nullptr) {
        constexpr NSInteger noSuchFile = 260;
        *error = [NSError
            errorWithDomain:@"NSCocoaErrorDomain"
                       code:noSuchFile
                   userInfo:@{NSLocalizedDescriptionKey : @"The file could not be opened."}];
    }
    return read;
}
@end

// A suite is a domain of its own. GNUstep has the domains, and no object for one.
@interface HostSuite : NSUserDefaults
@end
@implementation HostSuite {
    NSString* _name;
}
- (instancetype)initWithSuiteName:(NSString*)name {
    self = [super init];
    _name = name;
    return self;
}
- (NSDictionary*)content {
    NSDictionary* const domain =
        [NSUserDefaults.standardUserDefaults persistentDomainForName:_name];
    return domain == nil ? @{} : domain;
}
- (id)objectForKey:(NSString*)key {
    return self.content[key];
}
- (void)change:(id)value forKey:(NSString*)key {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    NSMutableDictionary* const content = [self.content mutableCopy];
    if (value == nil) {
        [content removeObjectForKey:key];
    } else {
        content[key] = value;
    }
    [NSUserDefaults.standardUserDefaults setPersistentDomain:content forName:_name];
}
- (void)setObject:(id)value forKey:(NSString*)key {
    [self change:value forKey:key];
}
- (void)removeObjectForKey:(NSString*)key {
    [self change:nil forKey:key];
}
@end
@implementation NSUserDefaults (Host)
- (instancetype)initWithSuiteName:(NSString*)name {
    return static_cast<id>([[HostSuite alloc] initWithSuiteName:name]);
}
@end

// A block with a queue (the main one, here) runs on it, and the poster waits for it: at once, for a
// notification that is posted on the main thread. The center keeps block and observer
// until the observer is removed.
@interface HostObserver : NSObject {
  @public
    NSOperationQueue* queue;
    void (^block)(NSNotification*);
}
@end
@implementation HostObserver
- (void)heard:(NSNotification*)notification {
    if (queue == nil || (queue == NSOperationQueue.mainQueue && NSThread.isMainThread)) {
        block(notification);
        return;
    }
    void (^const call)(NSNotification*) = block;
    std::promise<void> done;
    cocoa_host::postToMainQueue([&] {
        call(notification);
        done.set_value();
    });
    done.get_future().wait();
}
@end

namespace {

std::recursive_mutex& observersMutex() {
    static auto* const mutex = new std::recursive_mutex;
    return *mutex;
}

NSMutableArray<HostObserver*>* blockObservers() {
    static NSMutableArray<HostObserver*>* const kept = [NSMutableArray array];
    return kept;
}

} // namespace

namespace cocoa_host {

std::size_t blockObserverCount() { return blockObservers().count; }

} // namespace cocoa_host

@implementation NSNotificationCenter (Host)
- (id<NSObject>)host_addObserverForName:(NSNotificationName)name
                                 object:(id)object
                                  queue:(NSOperationQueue*)queue
                             usingBlock:(void (^)(NSNotification*))block {
    HostObserver* const made = [[HostObserver alloc] init];
    made->queue = queue;
    made->block = block;
    {
        const std::lock_guard lock(observersMutex());
        [blockObservers() addObject:made];
    }
    [self addObserver:made selector:@selector(heard:) name:name object:object];
    return made;
}
// Called by objects that are being freed, too: they must not be retained.
- (void)host_removeObserver:(void*)observer {
    [self host_removeObserver:observer];
    const std::lock_guard lock(observersMutex());
    for (NSUInteger index = blockObservers().count; index > 0; --index) {
        if ((__bridge void*)blockObservers()[index - 1] == observer) {
            [blockObservers() removeObjectAtIndex:index - 1];
        }
    }
}
@end

// Bundles with a Contents folder, which GNUstep's know nothing of. What has none is left to it,
// but for the running executable, which stands in its own folder. As on a Mac, that is the path it
// was started by (dyld(3): "the path may be a symbolic link"), where GNUstep has the one behind
// links.
namespace {

NSURL* urlOf(const std::filesystem::path& path, bool isFolder) {
    return [NSURL fileURLWithPath:toText(path) isDirectory:isFolder];
}

std::filesystem::path executableFile() {
    static const auto file = std::filesystem::absolute(
        reinterpret_cast<const char*>(static_cast<std::uintptr_t>(::getauxval(AT_EXECFN))));
    return file;
}

bool isStartedByALink() {
    static const bool answer =
        executableFile().lexically_normal() != std::filesystem::read_symlink("/proc/self/exe");
    return answer;
}

// The main bundle asks for its own path while it is made.
bool isMain(NSBundle* bundle) {
    static thread_local bool isAsked = false;
    if (isAsked) {
        return false;
    }
    isAsked = true;
    const bool answer = bundle == NSBundle.mainBundle;
    isAsked = false;
    return answer;
}

NSURL* urlIfThere(const std::filesystem::path& path) {
    return std::filesystem::exists(path) ? urlOf(path, false) : nil;
}

std::filesystem::path contentsOf(NSBundle* bundle) {
    NSString* const path = bundle.bundlePath;
    return std::filesystem::path(path == nil ? "" : path.UTF8String) / "Contents";
}

bool hasContents(NSBundle* bundle) {
    return std::filesystem::exists(contentsOf(bundle) / "Info.plist");
}

} // namespace

@implementation NSBundle (Host)
- (NSString*)host_bundlePath {
    NSString* path = [self host_bundlePath];
    if (isStartedByALink() && isMain(self)) {
        path = toText(executableFile().parent_path());
    }
    const std::filesystem::path folder = path == nil ? "" : path.UTF8String;
    const bool isInApplication =
        folder.filename() == "MacOS" && folder.parent_path().filename() == "Contents";
    return isInApplication ? toText(folder.parent_path().parent_path()) : path;
}
// The library of a framework stands in its folder, under its name.
- (BOOL)host_loadAndReturnError:(NSError**)error {
    const std::filesystem::path folder = self.bundlePath.UTF8String;
    if (::dlopen((folder / folder.stem()).c_str(), RTLD_NOW | RTLD_GLOBAL) != nullptr) {
        return YES;
    }
    if (error != nullptr) {
        NSString* const reason = [NSString stringWithUTF8String:dlerror()];
        *error = [NSError errorWithDomain:@"NSCocoaErrorDomain"
                                     code:3587
                                 userInfo:@{NSLocalizedDescriptionKey : reason}];
    }
    return NO;
}
- (NSDictionary*)host_infoDictionary {
    return hasContents(self)
               ? [NSDictionary dictionaryWithContentsOfFile:toText(contentsOf(self) / "Info.plist")]
               : [self host_infoDictionary];
}
- (NSURL*)host_bundleURL {
    return urlOf(self.bundlePath.UTF8String, true);
}
- (NSURL*)host_resourceURL {
    return hasContents(self) ? urlOf(contentsOf(self) / "Resources", true)
                             : [self host_resourceURL];
}
- (NSURL*)host_privateFrameworksURL {
    return hasContents(self) ? urlOf(contentsOf(self) / "Frameworks", true)
                             : [self host_privateFrameworksURL];
}
- (NSURL*)host_executableURL {
    if (hasContents(self)) {
        NSString* const name = self.infoDictionary[@"CFBundleExecutable"];
        return name == nil ? nil : urlIfThere(contentsOf(self) / "MacOS" / name.UTF8String);
    }
    return self == NSBundle.mainBundle ? urlOf(executableFile(), false) : [self host_executableURL];
}
- (NSURL*)host_URLForAuxiliaryExecutable:(NSString*)name {
    return hasContents(self) ? urlIfThere(contentsOf(self) / "MacOS" / name.UTF8String)
                             : [self host_URLForAuxiliaryExecutable:name];
}
- (NSURL*)host_URLForResource:(NSString*)name withExtension:(NSString*)extension {
    if (!hasContents(self)) {
        return [self host_URLForResource:name withExtension:extension];
    }
    NSString* const file = [name stringByAppendingPathExtension:extension];
    return urlIfThere(contentsOf(self) / "Resources" / file.UTF8String);
}
@end

// An exception that nobody catches says what it was.
@implementation NSException (Host)
- (void)host_raise {
    std::fprintf(stderr, "%s: %s\n", self.name.UTF8String, self.reason.UTF8String);
    [self host_raise];
}
@end

extern "C" void cocoaHostAdaptFoundation() {
    using cocoa_host::exchange;
    exchange(@"NSException", @selector(raise), @selector(host_raise));
    exchange(@"NSNotificationCenter", @selector(addObserverForName:object:queue:usingBlock:),
             @selector(host_addObserverForName:object:queue:usingBlock:));
    exchange(@"NSNotificationCenter", @selector(removeObserver:), @selector(host_removeObserver:));
    exchange(@"NSBundle", @selector(bundlePath), @selector(host_bundlePath));
    exchange(@"NSBundle", @selector(loadAndReturnError:), @selector(host_loadAndReturnError:));
    exchange(@"NSBundle", @selector(infoDictionary), @selector(host_infoDictionary));
    exchange(@"NSBundle", @selector(bundleURL), @selector(host_bundleURL));
    exchange(@"NSBundle", @selector(resourceURL), @selector(host_resourceURL));
    exchange(@"NSBundle", @selector(privateFrameworksURL), @selector(host_privateFrameworksURL));
    exchange(@"NSBundle", @selector(executableURL), @selector(host_executableURL));
    exchange(@"NSBundle", @selector(URLForAuxiliaryExecutable:),
             @selector(host_URLForAuxiliaryExecutable:));
    exchange(@"NSBundle", @selector(URLForResource:withExtension:),
             @selector(host_URLForResource:withExtension:));
}
