#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace ostrad::test {

// A fresh folder below the system's temporary one, removed with all its contents at the end.
class TempFolder {
  public:
    TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder();

    [[nodiscard]] std::string path(std::string_view relative = {}) const;

    // Writes a file, making the folders above it.
    std::string write(std::string_view relative, std::string_view content = "x") const;
    std::string writeProgram(std::string_view relative, std::string_view script) const;
    std::string makeFolder(std::string_view relative) const;
    void remove(std::string_view relative) const;

  private:
    std::filesystem::path root;
};

std::string readFile(const std::string& path);

// Whether the condition came true within a generous time.
bool eventually(const std::function<bool()>& condition);

// Gives up the rights of root for its lifetime, so that permissions mean what they say. Files made
// meanwhile belong to an ordinary user.
class AsOrdinaryUser {
  public:
    AsOrdinaryUser();
    AsOrdinaryUser(const AsOrdinaryUser&) = delete;
    AsOrdinaryUser& operator=(const AsOrdinaryUser&) = delete;
    ~AsOrdinaryUser();

  private:
    bool wasRoot = false;
};

} // namespace ostrad::test
