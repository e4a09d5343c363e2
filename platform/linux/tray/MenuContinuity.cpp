#include "platform/linux/tray/MenuContinuity.h"

#include <algorithm>

namespace platform::tray {
namespace {

bool isInformation(const MenuItem& item) {
    return !item.separator && !item.action && !item.standardAction && item.submenu.empty();
}

bool isSame(const MenuItem& before, const MenuItem& after) {
    return before.separator == after.separator && before.title == after.title &&
           before.submenu.empty() == after.submenu.empty();
}

// Lengths of the longest common order of the two ends that begin at [i] and [j].
class CommonOrder {
  public:
    CommonOrder(const Menu& before, const Menu& after)
        : columns_(after.size() + 1)
        , lengths_((before.size() + 1) * columns_, 0) {
        for (std::size_t i = before.size(); i-- > 0;) {
            for (std::size_t j = after.size(); j-- > 0;) {
                at(i, j) = isSame(before[i], after[j]) ? at(i + 1, j + 1) + 1
                                                       : std::max(at(i + 1, j), at(i, j + 1));
            }
        }
    }

    std::size_t& at(std::size_t i, std::size_t j) { return lengths_[i * columns_ + j]; }

  private:
    std::size_t columns_;
    std::vector<std::size_t> lengths_;
};

} // namespace

std::vector<std::optional<std::size_t>> continuedItems(const Menu& before, const Menu& after) {
    std::vector<std::optional<std::size_t>> continued(after.size());
    CommonOrder common(before, after);
    for (std::size_t i = 0, j = 0; i < before.size() && j < after.size();) {
        if (isSame(before[i], after[j])) {
            continued[j++] = i++;
        } else if (common.at(i + 1, j) >= common.at(i, j + 1)) {
            ++i;
        } else {
            ++j;
        }
    }
    std::size_t free = 0; // the first index of `before` that the gap at hand may use
    for (std::size_t j = 0; j < after.size(); ++j) {
        if (!continued[j] && isInformation(after[j])) {
            const auto next = std::find_if(continued.begin() + static_cast<std::ptrdiff_t>(j),
                                           continued.end(), [](auto index) { return index; });
            const std::size_t end =
                next == continued.end() ? before.size() : next->value_or(before.size());
            while (free < end && !isInformation(before[free])) {
                ++free;
            }
            if (free < end) {
                continued[j] = free;
            }
        }
        if (const auto& index = continued[j]) {
            free = *index + 1;
        }
    }
    return continued;
}

Menu keptInPlace(Menu shown, const Menu& latest) {
    const auto continued = continuedItems(shown, latest);
    for (MenuItem& item : shown) {
        item.enabled = false;
    }
    for (std::size_t index = 0; index < latest.size(); ++index) {
        if (const auto& place = continued[index]) {
            shown[*place] = latest[index];
        }
    }
    return shown;
}

} // namespace platform::tray
