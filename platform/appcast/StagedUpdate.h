// An update between its download and its first start. prepare() examines everything and changes
// nothing but a private folder beside the installed bundle; activate() lets the new bundle and the
// installed one change places in one step; revert() is the way back. However this ends, by a kill
// too, the bundle in its place is whole. The folder with what is not needed goes with the object;
// after activate() that would be the bundle which this process was started from, so it stays for
// removeLeftovers() in a later process. Any thread, one at a time; throws nothing but
// std::bad_alloc.
#pragma once

#include "platform/appcast/ArchiveSignature.h"
#include "platform/appcast/BundleCheck.h"
#include "platform/appcast/Staging.h"
#include "platform/appcast/Unpack.h"

#include <expected>
#include <filesystem>
#include <string>

namespace platform::appcast {

struct UpdatePlan {
    std::filesystem::path installed; // the bundle to be replaced
    std::uint64_t length = 0;        // of the archive
    Signature signature{};
    PublicKey key{};
    ExpectedBundle expected;
    ReadInfo readInfo;
    UnpackLimits limits = {};
};

class StagedUpdate {
  public:
    // `archive` is an open file that nobody else can change. The signature comes first: nothing of
    // an archive that does not have it is looked at.
    [[nodiscard]] static std::expected<StagedUpdate, std::string> prepare(int archive,
                                                                          const UpdatePlan& plan);

    // The new bundle, before activate().
    [[nodiscard]] const std::filesystem::path& fresh() const { return staged_; }

    [[nodiscard]] std::expected<void, std::string> activate();
    [[nodiscard]] std::expected<void, std::string> revert();

  private:
    StagedUpdate(Staging staging, std::filesystem::path fresh, std::filesystem::path installed);

    Staging staging_;
    std::filesystem::path staged_; // the new bundle's place; the old one's after activate()
    std::filesystem::path installed_;
};

} // namespace platform::appcast
