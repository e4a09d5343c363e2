// An environment variable that has a value for the life of this object. Only while no other
// thread reads the environment.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

class ScopedVariable {
  public:
    ScopedVariable(std::string variable, const std::string& value)
        : name(std::move(variable)) {
        if (const char* current = std::getenv(name.c_str())) {
            before = current;
        }
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable() {
        if (before) {
            ::setenv(name.c_str(), before->c_str(), 1);
        } else {
            ::unsetenv(name.c_str());
        }
    }

  private:
    std::string name;
    std::optional<std::string> before;
};
