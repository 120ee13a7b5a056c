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

/// The page that shows a server and lets it misbehave by hand: a small HTTP server on the server's own
/// thread.
///
/// Whoever asks must name this server as the host, so that no name of another site leads here, and all but
/// the page itself takes the token. On a loopback address the page has the token in it, which no other site's
/// page can read; elsewhere the page takes it too, in its address.
class SimPage {
 public:
  /// Listens at once. Throws std::system_error.
  SimPage(SimCore& core, const std::string& host, std::uint16_t port);
  ~SimPage();
  SimPage(const SimPage&) = delete;
  SimPage& operator=(const SimPage&) = delete;

  std::string Url() const;  ///< with the token, if it is needed
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
  std::string host_;  ///< as browsers send it, with the port
  bool loopback_ = true;
  std::string token_;
  std::deque<std::string> notes_;  ///< the last ones, as JSON
  std::set<std::shared_ptr<Visit>> visits_;
};

/// What the page shows, as a JSON object; `notes` are JSON objects.
std::string PageState(SimCore& core, const std::deque<std::string>& notes);
/// The page itself, sim/page.html.
extern const std::string_view kPageHtml;

}  // namespace VekSim
