#include "sim/SimOrderFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "sim/SimMarket.h"

namespace VekSim {

namespace {

constexpr std::string_view kFirstLine = "veksim orders 1\n";

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (in) in.peek();  // a directory can be opened, but not read
  if (in.bad()) throw std::runtime_error("cannot read " + path + ": " + std::strerror(errno));
  return {std::istreambuf_iterator<char>(in), {}};
}

[[noreturn]] void CannotWrite(const std::string& path) {
  throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
}

}  // namespace

SimOrderFile::SimOrderFile(const std::string& path) : path_(path) {
  if (path.empty()) return;
  text_ = ReadAll(path);
  const std::size_t all = text_.size();
  text_.resize(text_.rfind('\n') + 1);
  const bool fresh = text_.empty() && kFirstLine.starts_with(ReadAll(path));
  if (!fresh && !text_.starts_with(kFirstLine)) {
    throw std::runtime_error(path + ":1: not a file of orders: expected \"veksim orders 1\"");
  }
  // After a torn line the next one would be lost too.
  if (text_.size() != all) std::filesystem::resize_file(path, text_.size());
  file_ = std::fopen(path.c_str(), "ab");
  if (file_ == nullptr) CannotWrite(path);
  if (fresh && (std::fputs(kFirstLine.data(), file_) < 0 || std::fflush(file_) != 0)) CannotWrite(path);
}

SimOrderFile::~SimOrderFile() {
  if (file_ != nullptr) std::fclose(file_);
}

void SimOrderFile::Restore(SimMarket& market) {
  int number = 1;
  std::string_view rest = text_;
  if (!rest.empty()) rest.remove_prefix(kFirstLine.size());
  while (!rest.empty()) {
    ++number;
    const std::size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    const auto change = ReadChange(line);
    if (!change || !market.Restore(*change)) {
      throw std::runtime_error(
          path_ + ":" + std::to_string(number) +
          (change ? ": does not fit the lines before it: " : ": is no change of orders: ") +
          std::string(line.substr(0, 80)));
    }
    rest.remove_prefix(end + 1);
  }
  text_.clear();
}

void SimOrderFile::Add(const SimChange& change) {
  const std::string line = LineOf(change) + '\n';
  if (std::fwrite(line.data(), 1, line.size(), file_) != line.size() || std::fflush(file_) != 0) {
    CannotWrite(path_);
  }
}

}  // namespace VekSim
