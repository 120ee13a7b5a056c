#include "sim/SimHttp.h"

#include <algorithm>
#include <charconv>

namespace VekSim {

namespace {

constexpr std::string_view kCommonHeaders =
    "Cache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\nReferrer-Policy: no-referrer\r\n"
    "Content-Security-Policy: default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'; "
    "connect-src 'self'; img-src data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'\r\n";

bool IsToken(std::string_view text) {
  constexpr std::string_view kOthers = "!#$%&'*+-.^_`|~";
  return !text.empty() && std::all_of(text.begin(), text.end(), [&](unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           kOthers.find(static_cast<char>(c)) != std::string_view::npos;
  });
}

bool IsPrintable(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c > 0x20 && c < 0x7F; });
}

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

std::string_view Reason(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 408:
      return "Request Timeout";
    case 409:
      return "Conflict";
    case 411:
      return "Length Required";
    case 413:
      return "Content Too Large";
    case 431:
      return "Request Header Fields Too Large";
    case 503:
      return "Service Unavailable";
    default:
      return "Bad Request";
  }
}

}  // namespace

std::string HttpRequest::Header(const std::string& name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? std::string() : found->second;
}

int HttpReader::Feed(std::string_view bytes) {
  bytes_.append(bytes);
  if (head_) {
    const int status = ReadHead();
    if (status != 200) return status;
  }
  if (bytes_.size() < wanted_) return 0;
  request_.body = bytes_.substr(0, wanted_);
  return 200;
}

int HttpReader::ReadHead() {
  const std::size_t end = bytes_.find("\r\n\r\n");
  if (std::min(end, bytes_.size()) > kMostHead) return 431;
  if (end == std::string::npos) return 0;
  std::string_view rest = std::string_view(bytes_).substr(0, end + 2);
  while (!rest.empty()) {
    const std::size_t length = rest.find("\r\n");
    if (!ReadLine(rest.substr(0, length))) return 400;
    rest.remove_prefix(length + 2);
  }
  const std::string length = request_.Header("content-length");
  if (!request_.Header("transfer-encoding").empty()) return 411;
  const auto [stop, error] = std::from_chars(length.data(), length.data() + length.size(), wanted_);
  if (!length.empty() && (error != std::errc() || stop != length.data() + length.size())) return 400;
  if (wanted_ > kMostBody) return 413;
  bytes_.erase(0, end + 4);
  head_ = false;
  return 200;
}

bool HttpReader::ReadLine(std::string_view line) {
  if (request_.method.empty()) {
    const std::size_t first = line.find(' '), second = line.rfind(' ');
    if (first == std::string_view::npos || second == first) return false;
    const std::string_view target = line.substr(first + 1, second - first - 1),
                           version = line.substr(second + 1);
    if (!IsToken(line.substr(0, first)) || !target.starts_with('/') || !IsPrintable(target)) return false;
    if (version != "HTTP/1.1" && version != "HTTP/1.0") return false;
    const std::size_t mark = std::min(target.find('?'), target.size());
    request_.method = line.substr(0, first);
    request_.path = target.substr(0, mark);
    request_.query = target.substr(std::min(mark + 1, target.size()));
    return true;
  }
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos || !IsToken(line.substr(0, colon))) return false;
  std::string name(line.substr(0, colon));
  for (char& c : name) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
  // A repeated header: a proxy in between may have used the other one.
  return request_.headers.emplace(std::move(name), Trimmed(line.substr(colon + 1))).second;
}

std::string HttpAnswer(int status, std::string_view type, std::string_view body) {
  return ("HTTP/1.1 " + std::to_string(status) + ' ')
      .append(Reason(status))
      .append("\r\nConnection: close\r\nContent-Type: ")
      .append(type)
      .append("\r\nContent-Length: " + std::to_string(body.size()) + "\r\n")
      .append(kCommonHeaders)
      .append("\r\n")
      .append(body);
}

std::string HttpEvents() {
  return std::string("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Type: text/event-stream\r\n")
      .append(kCommonHeaders)
      .append("\r\n");
}

bool SameSecret(std::string_view given, std::string_view secret) {
  if (given.size() != secret.size()) return false;
  volatile unsigned char difference = 0;
  for (std::size_t i = 0; i < given.size(); ++i) {
    difference = static_cast<unsigned char>(difference | (given[i] ^ secret[i]));
  }
  return difference == 0;
}

}  // namespace VekSim
