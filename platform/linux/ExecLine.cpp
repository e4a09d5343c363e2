#include "platform/linux/ExecLine.h"

namespace platform {
namespace {

constexpr std::string_view escapable = "\"`$\\";
constexpr std::string_view blanks = " \t\n";

class Reader {
  public:
    explicit Reader(std::string_view line)
        : rest_(line) {}

    std::optional<std::vector<std::string>> arguments() {
        std::vector<std::string> found;
        while (skipBlanks()) {
            std::string argument;
            bool isFieldCode = false;
            const bool read =
                rest_.front() == '"' ? readQuoted(argument) : readPlain(argument, isFieldCode);
            if (!read) {
                return std::nullopt;
            }
            if (!isFieldCode) {
                found.push_back(argument);
            }
        }
        return found.empty() || found.front().empty() ? std::nullopt : std::optional(found);
    }

  private:
    bool skipBlanks() {
        const auto next = rest_.find_first_not_of(blanks);
        rest_.remove_prefix(next == std::string_view::npos ? rest_.size() : next);
        return !rest_.empty();
    }

    char take() {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }

    // Percent signs are doubled inside quotes as well; a field code there is undefined.
    bool takePercent(std::string& argument) {
        if (rest_.empty() || rest_.front() != '%') {
            return false;
        }
        argument += take();
        return true;
    }

    bool readQuoted(std::string& argument) {
        take();
        while (!rest_.empty()) {
            char c = take();
            if (c == '"') {
                return rest_.empty() || blanks.find(rest_.front()) != std::string_view::npos;
            }
            if (c == '\\') {
                if (rest_.empty() || escapable.find(rest_.front()) == std::string_view::npos) {
                    return false;
                }
                c = take();
            } else if (c == '%') {
                if (!takePercent(argument)) {
                    return false;
                }
                continue;
            }
            argument += c;
        }
        return false;
    }

    bool readPlain(std::string& argument, bool& isFieldCode) {
        constexpr std::string_view reserved = "\"'\\><~|&;$*?#()`";
        while (!rest_.empty() && blanks.find(rest_.front()) == std::string_view::npos) {
            const char c = take();
            if (reserved.find(c) != std::string_view::npos) {
                return false;
            }
            if (c != '%') {
                argument += c;
            } else if (!takePercent(argument)) {
                if (rest_.empty()) {
                    return false;
                }
                take();
                isFieldCode = argument.empty();
            }
        }
        return true;
    }

    std::string_view rest_;
};

} // namespace

std::string quotedForExec(std::string_view argument) {
    std::string quoted = "\"";
    for (const char c : argument) {
        if (escapable.find(c) != std::string_view::npos) {
            quoted += '\\';
        } else if (c == '%') {
            quoted += '%';
        }
        quoted += c;
    }
    return quoted + '"';
}

std::optional<std::vector<std::string>> argumentsOfExec(std::string_view line) {
    return Reader(line).arguments();
}

} // namespace platform
