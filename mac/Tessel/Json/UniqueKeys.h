// Whether the keys of an object are all different: bounded time however they are chosen. One
// object serves one parser, which spares it the memory of the last call. One thread.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace tessel {

class UniqueKeys {
  public:
    void clear() { keys_.clear(); }
    void add(std::string_view key) { keys_.push_back(key); }
    // Leaves the keys in any order.
    [[nodiscard]] bool allDifferent();

    // Where a key belongs in a table. Good enough to tell the keys of an honest object apart; a
    // hostile one costs more comparisons, so that such a table must be small.
    [[nodiscard]] static std::size_t slotOf(std::string_view key, std::size_t slots);

  private:
    [[nodiscard]] bool fewAreDifferent() const;

    std::vector<std::string_view> keys_;
};

} // namespace tessel
