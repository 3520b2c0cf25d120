#pragma once
// A private scratch directory per test object, so that parallel tests never share files.
#include <filesystem>
#include <string>

namespace Harness {

class TempDir {
 public:
  // mkdtemp under $TMPDIR (or /tmp). Removed recursively on destruction unless the environment
  // variable FHRP_KEEP_TMP is set, in which case its path is printed to stderr for inspection.
  explicit TempDir(const std::string& prefix = "fhrp-test");
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

  // Writes (replaces) a file below the directory, creating parent folders; returns its path.
  std::filesystem::path writeFile(const std::string& name, const std::string& content) const;

 private:
  std::filesystem::path path_;
};

// Whole file as text; empty when it does not exist (yet).
std::string readFile(const std::filesystem::path& path);

}  // namespace Harness
