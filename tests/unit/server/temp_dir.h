// A fresh folder per test, removed afterwards.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace velmora::test {

class TempDir {
public:
    TempDir() {
        std::string name = (std::filesystem::temp_directory_path() / "velmorad-XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    [[nodiscard]] std::string path() const { return path_; }
    [[nodiscard]] std::string file(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

} // namespace velmora::test
