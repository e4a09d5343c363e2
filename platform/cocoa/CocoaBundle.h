// The main bundle as NSBundle sees it. NSBundle has a bundle for every executable; one whose
// folder is no .app counts as none here. Strings of the Info dictionary are those of the file, not
// their translations. Any thread.
#pragma once

#include "platform/Bundle.h"
#include "platform/cocoa/RequireArc.h"

#import <Foundation/Foundation.h>

namespace platform::cocoa {

// What of a dictionary is an Info dictionary; nil gives an empty one. Needs an autorelease pool.
[[nodiscard]] InfoDictionary infoDictionaryOf(NSDictionary<NSString*, id>* dictionary);

// The main bundle of an executable that may have been started by way of a symbolic link, beside
// which the system then looks for the bundle. Needs an autorelease pool.
[[nodiscard]] NSBundle* mainBundleWithoutLinks();

class CocoaBundle final : public Bundle {
  public:
    explicit CocoaBundle(NSBundle* bundle);

    [[nodiscard]] std::optional<std::filesystem::path> bundlePath() const override;
    [[nodiscard]] std::optional<std::filesystem::path> resourcesPath() const override;
    // The file itself where it is a symbolic link. Empty when the system cannot tell.
    [[nodiscard]] std::filesystem::path executablePath() const override;
    // A regular file (after symbolic links) that NSBundle knows, or that is beside the executable.
    [[nodiscard]] std::optional<std::filesystem::path>
    auxiliaryExecutable(std::string_view name) const override;
    [[nodiscard]] std::optional<std::string> infoString(std::string_view key) const override;
    [[nodiscard]] InfoDictionary infoDictionary() const override;
    [[nodiscard]] std::optional<std::string> resource(std::string_view name,
                                                      std::string_view extension) const override;

  private:
    [[nodiscard]] bool isApplication() const;

    NSBundle* bundle_;
};

} // namespace platform::cocoa
