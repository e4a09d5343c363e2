#include "platform/cocoa/PageDownload.h"

#include "platform/DownloadBounds.h"
#include "platform/DownloadName.h"
#include "platform/DownloadTexts.h"
#include "platform/cocoa/Text.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

namespace {

constexpr NSTimeInterval progressInterval = 0.5; // seconds
constexpr CGFloat barWidth = 260;
constexpr CGFloat barHeight = 20;

// The one that is under way, which nothing else keeps.
ZorvanePageDownload* current = nil;

} // namespace

@implementation ZorvanePageDownload {
    WKDownload* _download;
    __weak NSWindow* _window;
    NSURL* _folder; // the system's, for this download alone
    NSURL* _part;
    NSURL* _target;
    NSAlert* _panel;
    NSProgressIndicator* _bar;
    NSTimer* _timer;
    std::optional<platform::DownloadBounds> _bounds; // once it may come
    NSString* _trouble;                              // it was given up for that
    BOOL _cancelled;
}

+ (void)takeDownload:(WKDownload*)download inWindow:(NSWindow*)window {
    if (current != nil || window == nil) {
        [download cancel:nil];
        return;
    }
    current = [[ZorvanePageDownload alloc] init];
    current->_download = download;
    current->_window = window;
    download.delegate = current;
}

- (void)download:(WKDownload*)__unused download
    decideDestinationUsingResponse:(NSURLResponse*)__unused response
                 suggestedFilename:(NSString*)suggestedFilename
                 completionHandler:(void (^)(NSURL* destination))completionHandler {
    NSWindow* const window = _window;
    if (window == nil) {
        completionHandler(nil);
        [self end];
        return;
    }
    NSSavePanel* const panel = [NSSavePanel savePanel];
    const auto name = platform::cocoa::fromFoundation(suggestedFilename).value_or("");
    panel.nameFieldStringValue = platform::cocoa::toFoundation(platform::downloadName(name));
    panel.directoryURL = [[NSFileManager defaultManager] URLForDirectory:NSDownloadsDirectory
                                                                inDomain:NSUserDomainMask
                                                       appropriateForURL:nil
                                                                  create:NO
                                                                   error:nil];
    panel.preventsApplicationTerminationWhenModal = NO;
    [panel beginSheetModalForWindow:window
                  completionHandler:^(NSModalResponse answer) {
                    NSURL* const part = answer == NSModalResponseOK ? [self partOf:panel.URL] : nil;
                    completionHandler(part);
                    if (part == nil) {
                        [self end];
                    } else {
                        [self showProgress];
                    }
                  }];
}

// On the volume of the file that it becomes; nil when there can be none.
- (NSURL*)partOf:(NSURL*)target {
    _target = target;
    _folder = [[NSFileManager defaultManager] URLForDirectory:NSItemReplacementDirectory
                                                     inDomain:NSUserDomainMask
                                            appropriateForURL:target
                                                       create:YES
                                                        error:nil];
    _part = [_folder URLByAppendingPathComponent:@"part"];
    return _part;
}

// The file's, as the user has chosen it.
- (std::string)name {
    return platform::cocoa::fromFoundation(_target.lastPathComponent).value_or("");
}

- (void)showProgress {
    NSWindow* const window = _window;
    if (window == nil) {
        return;
    }
    _panel = [[NSAlert alloc] init];
    _panel.messageText = platform::cocoa::toFoundation(platform::savingText([self name]));
    [_panel addButtonWithTitle:platform::cocoa::toFoundation(platform::cancelSavingText)];
    _bar = [[NSProgressIndicator alloc] initWithFrame:NSMakeRect(0, 0, barWidth, barHeight)];
    _bar.indeterminate = NO;
    _bar.maxValue = 1;
    _panel.accessoryView = _bar;
    _panel.window.preventsApplicationTerminationWhenModal = NO;
    _bounds.emplace(std::chrono::steady_clock::now());
    __weak ZorvanePageDownload* const weakSelf = self;
    _timer = [NSTimer scheduledTimerWithTimeInterval:progressInterval
                                             repeats:YES
                                               block:^(NSTimer*) {
                                                 [weakSelf progressed];
                                               }];
    [_panel beginSheetModalForWindow:window
                   completionHandler:^(NSModalResponse answer) {
                     if (answer == NSAlertFirstButtonReturn) {
                         [weakSelf cancel];
                     }
                   }];
}

- (void)progressed {
    _bar.doubleValue = _download.progress.fractionCompleted;
    const auto count = static_cast<std::uint64_t>(_download.progress.completedUnitCount);
    const auto trouble = _bounds->trouble(count, std::chrono::steady_clock::now(),
                                          [self] { return [self spaceLeft]; });
    if (trouble && !_cancelled) {
        _trouble = platform::cocoa::toFoundation(*trouble);
        [self cancel];
    }
}

- (std::optional<std::uintmax_t>)spaceLeft {
    const auto folder = platform::cocoa::pathOf(_folder);
    std::error_code failed;
    const auto space = std::filesystem::space(folder.value_or("/"), failed);
    return failed ? std::nullopt : std::optional(space.available);
}

- (void)cancel {
    _cancelled = YES;
    [_download cancel:^(NSData*) {
      [self end];
      [self tell:self->_trouble];
    }];
}

- (void)downloadDidFinish:(WKDownload*)__unused download {
    NSFileManager* const files = [NSFileManager defaultManager];
    NSError* error = nil;
    // The panel has asked whether what is there may go.
    const BOOL placed =
        _cancelled || ([files fileExistsAtPath:_target.path] ? [files replaceItemAtURL:_target
                                                                         withItemAtURL:_part
                                                                        backupItemName:nil
                                                                               options:0
                                                                      resultingItemURL:nil
                                                                                 error:&error]
                                                             : [files moveItemAtURL:_part
                                                                              toURL:_target
                                                                              error:&error]);
    [self end];
    [self tell:placed ? nil : error.localizedDescription];
}

- (void)download:(WKDownload*)__unused download
    didFailWithError:(NSError*)error
          resumeData:(NSData*)__unused resumeData {
    NSString* const text = _cancelled || _target == nil ? nil : error.localizedDescription;
    [self end];
    [self tell:text];
}

// Why there is no file; nil: nothing to tell.
- (void)tell:(NSString*)why {
    NSWindow* const window = _window;
    if (window == nil || why == nil) {
        return;
    }
    NSAlert* const alert = [[NSAlert alloc] init];
    alert.messageText = platform::cocoa::toFoundation(platform::notSavedText([self name]));
    alert.informativeText = why;
    alert.window.preventsApplicationTerminationWhenModal = NO;
    [alert beginSheetModalForWindow:window
                  completionHandler:^(NSModalResponse){
                  }];
}

// Nothing partial stays, whatever the end was.
- (void)end {
    [_timer invalidate];
    if (_panel != nil) {
        NSAlert* const panel = _panel;
        _panel = nil;
        [_window endSheet:panel.window];
    }
    if (_folder != nil) {
        [[NSFileManager defaultManager] removeItemAtURL:_folder error:nil];
        _folder = nil;
    }
    if (current == self) {
        current = nil;
    }
}

@end
