#pragma once

#include <asio.hpp>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "sim/SimHttp.h"
#include "sim/SimNote.h"

namespace VekSim {

struct SimCore;

/// The page that shows a server and lets users make it misbehave: a small HTTP server on the server's own
/// thread.
///
/// Every request must name this server as its host, so that no other site's name can be resolved to it, and
/// all but the page itself require the token. On a loopback address the page contains the token, which no
/// other site's page can read; elsewhere the page requires it too, in its address.
class SimPage {
 public:
  /// Listens at once. Throws std::system_error.
  SimPage(SimCore& core, const std::string& host, std::uint16_t port);
  ~SimPage();
  SimPage(const SimPage&) = delete;
  SimPage& operator=(const SimPage&) = delete;

  std::string Url() const;  ///< with the token, if required
  void Start();
  void Stop();

 private:
  class Visit;
  void Accept();
  void Answer(const HttpRequest& request, Visit& visit);
  std::string Do(const HttpRequest& request);
  bool FromHere(const HttpRequest& request) const;
  bool MayAsk(const HttpRequest& request) const;
  void Watch(const SimNote& note);

  SimCore& core_;
  asio::ip::tcp::acceptor acceptor_;
  std::string host_;  ///< as sent by browsers, with the port
  bool loopback_ = true;
  std::string token_;
  std::deque<std::string> notes_;  ///< the latest, as JSON
  std::set<std::shared_ptr<Visit>> visits_;
};

/// The state shown by the page, as a JSON object; `notes` are JSON objects.
std::string PageState(SimCore& core, const std::deque<std::string>& notes);
/// The page itself, sim/page.html.
extern const std::string_view kPageHtml;

}  // namespace VekSim
