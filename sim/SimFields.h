#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "sim/SimJson.h"

namespace VekSim {

/// A value of a script and its path. Invalid values throw JsonError with line, path and words.
class SimField {
 public:
  SimField(const Json& json, std::string path) : json_(&json), path_(std::move(path)) {}

  const Json& Value() const { return *json_; }
  bool Is(Json::Kind kind) const { return json_->kind == kind; }
  [[noreturn]] void Fail(const std::string& words) const;

  bool Has(std::string_view name) const { return json_->Member(name) != nullptr; }
  SimField At(std::string_view name) const;  ///< fails if absent
  SimField At(std::size_t index) const;
  /// Fails if this is not an object, or has other members than these.
  void Only(const std::vector<std::string_view>& names) const;
  std::size_t Count() const;  ///< of a list; fails for anything else

  std::int64_t Whole(std::int64_t least, std::int64_t most) const;
  std::string Text() const;
  /// One of these texts.
  std::string Word(std::initializer_list<std::string_view> words) const;
  bool Yes() const;
  int Price() const;               ///< points, in hundredths
  std::int64_t Ms() const;         ///< milliseconds, to a day
  std::int64_t TimeOfDay() const;  ///< "HH:MM:SS" or "HH:MM:SS.mmm", in milliseconds

 private:
  const Json* json_;
  std::string path_;
};

}  // namespace VekSim
