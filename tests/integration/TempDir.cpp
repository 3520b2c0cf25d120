#include "tests/integration/TempDir.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace Harness {

TempDir::TempDir(const std::string& prefix) {
  const char* base = std::getenv("TMPDIR");
  std::string templ = std::string(base && *base ? base : "/tmp") + "/" + prefix + ".XXXXXX";
  std::vector<char> buffer(templ.begin(), templ.end());
  buffer.push_back('\0');
  if (!::mkdtemp(buffer.data())) {
    throw std::runtime_error("mkdtemp " + templ + ": " + std::strerror(errno));
  }
  path_ = buffer.data();
}

TempDir::~TempDir() {
  if (std::getenv("FHRP_KEEP_TMP")) {
    std::fprintf(stderr, "FHRP_KEEP_TMP: keeping %s\n", path_.c_str());
    return;
  }
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TempDir::writeFile(const std::string& name,
                                         const std::string& content) const {
  std::filesystem::path file = path_ / name;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << content;
  out.close();
  if (!out) throw std::runtime_error("cannot write " + file.string());
  return file;
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace Harness
