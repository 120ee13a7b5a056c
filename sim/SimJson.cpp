#include "sim/SimJson.h"

#include <iterator>
#include <nlohmann/json.hpp>

namespace VekSim {

namespace {

constexpr std::size_t kDeepest = 32;

/// Counts lines as the parser reads. A line feed belongs to the line it ends, so that a number, whose end the
/// parser recognises only at the line feed after it, is on its own line.
class LineIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  LineIterator(const char* at, int* line) : at_(at), line_(line) {}
  reference operator*() const { return *at_; }
  LineIterator& operator++() {
    *line_ += feed_ ? 1 : 0;
    feed_ = *at_ == '\n';
    ++at_;
    return *this;
  }
  bool operator==(const LineIterator& other) const { return at_ == other.at_; }
  bool operator!=(const LineIterator& other) const { return at_ != other.at_; }

 private:
  const char* at_;
  int* line_;
  bool feed_ = false;
};

std::string Reason(std::string_view what) {
  const std::size_t at = what.find("syntax error");
  return std::string(at == std::string_view::npos ? what : what.substr(at));
}

/// Builds the value from the parser's events.
class Builder {
 public:
  using number_integer_t = nlohmann::json::number_integer_t;
  using number_unsigned_t = nlohmann::json::number_unsigned_t;
  using number_float_t = nlohmann::json::number_float_t;
  using string_t = nlohmann::json::string_t;
  using binary_t = nlohmann::json::binary_t;

  explicit Builder(const int* line) : line_(line) {}
  Json Take() { return std::move(root_); }

  bool null() { return Add({}); }
  bool boolean(bool value) { return Add(Json::Kind::Boolean, value ? 1 : 0); }
  bool number_integer(number_integer_t value) { return Add(Json::Kind::Number, static_cast<double>(value)); }
  bool number_unsigned(number_unsigned_t value) {
    return Add(Json::Kind::Number, static_cast<double>(value));
  }
  bool number_float(number_float_t value, const string_t&) { return Add(Json::Kind::Number, value); }
  bool string(string_t& value) {
    Json json;
    json.kind = Json::Kind::Text;
    json.text = std::move(value);
    return Add(std::move(json));
  }
  bool binary(binary_t&) { return true; }  // JSON text has none
  bool start_object(std::size_t) { return Open(Json::Kind::Object); }
  bool start_array(std::size_t) { return Open(Json::Kind::List); }
  bool end_object() { return Close(); }
  bool end_array() { return Close(); }
  bool key(string_t& name) {
    if (open_.back()->Member(name) != nullptr) throw JsonError(*line_, name + ": is there twice");
    key_ = std::move(name);
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) {
    throw JsonError(*line_, Reason(error.what()));
  }

 private:
  bool Add(Json::Kind kind, double number) {
    Json json;
    json.kind = kind;
    json.number = number;
    return Add(std::move(json));
  }
  bool Add(Json json) {
    Place(std::move(json));
    return true;
  }
  Json& Place(Json json) {
    json.line = *line_;
    json.key = std::exchange(key_, {});
    if (open_.empty()) return root_ = std::move(json);
    return open_.back()->items.emplace_back(std::move(json));
  }
  bool Open(Json::Kind kind) {
    if (open_.size() == kDeepest) throw JsonError(*line_, "nested too deep");
    Json json;
    json.kind = kind;
    open_.push_back(
        &Place(std::move(json)));  // stays at its address: nothing is added beside it until it is closed
    return true;
  }
  bool Close() {
    open_.pop_back();
    return true;
  }

  const int* line_;
  Json root_{};
  std::string key_{};
  std::vector<Json*> open_{};
};

}  // namespace

const Json* Json::Member(std::string_view name) const {
  for (const Json& item : items) {
    if (item.key == name) return &item;
  }
  return nullptr;
}

Json ReadJson(std::string_view text) {
  int line = 1;
  Builder builder(&line);
  const char* const end = text.data() + text.size();
  nlohmann::json::sax_parse(LineIterator(text.data(), &line), LineIterator(end, &line), &builder);
  return builder.Take();
}

std::string Quoted(std::string_view text) {
  return nlohmann::json(std::string(text)).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace VekSim
