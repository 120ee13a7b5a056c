#pragma once

#include <map>
#include <string>
#include <string_view>

namespace VekSim {

/// One HTTP/1.1 request. Names of headers are in lower case.
struct HttpRequest {
  std::string method{};
  std::string path{};   ///< without the query
  std::string query{};  ///< after "?", as received
  std::map<std::string, std::string> headers{};
  std::string body{};

  std::string Header(const std::string& name) const;  ///< empty when absent
};

/// Reads one request from a stream of arbitrary bytes. Bodies need a Content-Length.
class HttpReader {
 public:
  static constexpr std::size_t kMostHead = 8192;
  static constexpr std::size_t kMostBody = 4096;

  /// 0: more is needed; 200: Request() is complete; otherwise the status to refuse with. Must not be called
  /// again after any result but 0.
  int Feed(std::string_view bytes);
  const HttpRequest& Request() const { return request_; }

 private:
  int ReadHead();
  bool ReadLine(std::string_view line);

  std::string bytes_{};
  HttpRequest request_{};
  std::size_t wanted_ = 0;  ///< length of the body
  bool head_ = true;
};

/// An answer's status line, headers and body. Pages may load from, and connect to, only their own origin.
std::string HttpAnswer(int status, std::string_view type, std::string_view body);
/// The head of an endless stream of server-sent events.
std::string HttpEvents();
/// Whether the texts are equal, in a time that depends only on the length of `given`.
bool SameSecret(std::string_view given, std::string_view secret);

}  // namespace VekSim
