// os_log under the log contract, read back from the system's store. Not under the contract for
// several threads: the system may drop lines of a flood, and says so.
#include "tests/platform/services/LogContract.h"
#include "platform/cocoa/OsLog.h"
#include "platform/cocoa/Text.h"

#import <Foundation/Foundation.h>
#import <OSLog/OSLog.h>

namespace {

class OsLogHarness final : public LogHarness {
  public:
    platform::Log& log() override { return log_; }

    std::vector<std::string> finish() override {
        std::vector<std::string> lines;
        OSLogStore* const store = [OSLogStore storeWithScope:OSLogStoreCurrentProcessIdentifier
                                                       error:nil];
        NSPredicate* const ours = [NSPredicate predicateWithFormat:@"subsystem == %@", subsystem_];
        for (OSLogEntry* entry in [store entriesEnumeratorWithOptions:0
                                                             position:nil
                                                            predicate:ours
                                                                error:nil]) {
            lines.push_back(platform::cocoa::fromFoundation(entry.composedMessage).value_or("?"));
        }
        return lines;
    }

  private:
    NSString* subsystem_ = [@"app.example." stringByAppendingString:NSUUID.UUID.UUIDString];
    platform::cocoa::OsLog log_{*platform::cocoa::fromFoundation(subsystem_), "test"};
};

std::unique_ptr<LogHarness> osLog() { return std::make_unique<OsLogHarness>(); }

INSTANTIATE_TEST_SUITE_P(OsLog, LogContract, testing::Values(osLog));

} // namespace
