#include "sim/SimPage.h"

#include <algorithm>
#include <random>
#include <utility>

#include "sim/SimCore.h"
#include "sim/SimFields.h"
#include "sim/SimListen.h"

namespace VekSim {

using asio::ip::tcp;

namespace {

constexpr std::size_t kMostVisits = 32;
constexpr std::size_t kMostNotes = 200;
constexpr std::size_t kMostUnsent = 1 << 20;
constexpr std::chrono::seconds kVisitTime{10};
constexpr std::string_view kTokenMark = "{{token}}";
constexpr const char* kJsonType = "application/json";

std::string NewToken() {
  constexpr char kDigits[] = "0123456789abcdef";
  std::random_device random;
  std::string token;
  for (int i = 0; i < 32; ++i) token += kDigits[random() & 15];
  return token;
}

std::string ErrorJson(const std::string& words) {
  return "{\"error\":" + Quoted(words) + "}";
}

}  // namespace

/// One connection: one request, and its answer, which may continue forever.
class SimPage::Visit : public std::enable_shared_from_this<Visit> {
 public:
  Visit(SimPage& page, tcp::socket socket)
      : page_(page), socket_(std::move(socket)), timer_(socket_.get_executor()) {}

  void Start() {
    timer_.expires_after(kVisitTime);
    timer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
      if (!error) self->Close();
    });
    Read();
  }
  void Send(std::string_view bytes) {
    unsent_.append(bytes);
    if (unsent_.size() > kMostUnsent) return Close();  // the browser does not read
    Write();
  }
  void Answer(int status, std::string_view type, std::string_view body) {
    answered_ = true;
    Send(HttpAnswer(status, type, body));
  }
  void Stream() {
    timer_.cancel();
    streams_ = true;
    Send(HttpEvents());
  }
  bool Streams() const { return streams_; }
  void Close() {
    asio::error_code ignored;
    timer_.cancel();
    socket_.close(ignored);
    page_.visits_.erase(shared_from_this());
  }

 private:
  void Read() {
    socket_.async_read_some(asio::buffer(block_),
                            [self = shared_from_this()](const asio::error_code& error, std::size_t count) {
                              if (error) return self->Close();
                              self->OnBytes({self->block_.data(), count});
                              if (self->socket_.is_open()) self->Read();
                            });
  }

  // Bytes after the request are not read as another one.
  void OnBytes(std::string_view bytes) {
    if (answered_ || streams_) return;
    const int status = reader_.Feed(bytes);
    if (status == 200) page_.Answer(reader_.Request(), *this);
    if (status != 0 && status != 200) Answer(status, "text/plain", "This request cannot be read.\n");
  }

  void Write() {
    if (!writing_.empty() || !socket_.is_open()) return;
    if (unsent_.empty()) {
      asio::error_code ignored;
      if (answered_) socket_.shutdown(tcp::socket::shutdown_send, ignored);
      return;
    }
    writing_ = std::exchange(unsent_, {});
    asio::async_write(socket_, asio::buffer(writing_),
                      [self = shared_from_this()](const asio::error_code& error, std::size_t) {
                        self->writing_.clear();
                        if (error) return self->Close();
                        self->Write();
                      });
  }

  SimPage& page_;
  tcp::socket socket_;
  asio::steady_timer timer_;
  HttpReader reader_;
  std::array<char, 4096> block_{};
  std::string unsent_;
  std::string writing_;
  bool answered_ = false;
  bool streams_ = false;
};

SimPage::SimPage(SimCore& core, const std::string& host, std::uint16_t port)
    : core_(core), acceptor_(core.io), token_(NewToken()) {
  ListenOn(acceptor_, host, port);
  loopback_ = acceptor_.local_endpoint().address().is_loopback();
  const bool bare = host.find(':') == std::string::npos;
  host_ = (bare ? host : "[" + host + "]") + ":" + std::to_string(acceptor_.local_endpoint().port());
  core_.watch = [this](const SimNote& note) { Watch(note); };
}

SimPage::~SimPage() = default;

std::string SimPage::Url() const {
  return "http://" + host_ + "/" + (loopback_ ? "" : "?token=" + token_);
}

void SimPage::Start() {
  Accept();
}

void SimPage::Stop() {
  asio::error_code ignored;
  acceptor_.close(ignored);
  for (const auto& visit : std::set(visits_)) visit->Close();
}

void SimPage::Accept() {
  acceptor_.async_accept([this](const asio::error_code& error, tcp::socket socket) {
    if (error == asio::error::operation_aborted || !acceptor_.is_open()) return;
    if (!error && visits_.size() < kMostVisits) {
      (*visits_.insert(std::make_shared<Visit>(*this, std::move(socket))).first)->Start();
    }
    Accept();
  });
}

// On a loopback address, other names are those of sites that redirect their visitors' browsers here.
bool SimPage::FromHere(const HttpRequest& request) const {
  if (!loopback_) return true;
  const std::string port = host_.substr(host_.rfind(':')), host = request.Header("host");
  return host == host_ || host == "localhost" + port || host == "127.0.0.1" + port || host == "[::1]" + port;
}

bool SimPage::MayAsk(const HttpRequest& request) const {
  const std::string origin = request.Header("origin"), site = request.Header("sec-fetch-site");
  return SameSecret(request.Header("x-vek-token"), token_) &&
         (origin.empty() || origin == "http://" + request.Header("host")) &&
         (site.empty() || site == "same-origin" || site == "none");
}

void SimPage::Answer(const HttpRequest& request, Visit& visit) {
  const bool post = request.path == "/do";
  if (request.path != "/" && request.path != "/state" && request.path != "/events" && !post) {
    return visit.Answer(404, "text/plain", "There is nothing here.\n");
  }
  if (request.method != (post ? "POST" : "GET")) return visit.Answer(405, "text/plain", "Not in this way.\n");
  if (!FromHere(request)) return visit.Answer(403, "text/plain", "The page is at http://" + host_ + "/\n");
  if (request.path == "/") {
    if (!loopback_ && !SameSecret(request.query, "token=" + token_)) {
      return visit.Answer(403, "text/plain",
                          "The address ends with a token, which veksim printed at its start.\n");
    }
    std::string html(kPageHtml);
    return visit.Answer(200, "text/html; charset=utf-8",
                        html.replace(html.find(kTokenMark), kTokenMark.size(), token_));
  }
  if (!MayAsk(request))
    return visit.Answer(403, kJsonType, ErrorJson("the token is missing or wrong: reload the page"));
  if (request.path == "/state") return visit.Answer(200, kJsonType, PageState(core_, notes_));
  if (request.path == "/events") return visit.Stream();
  try {
    const std::string error = Do(request);
    visit.Answer(error.empty() ? 200 : 409, kJsonType, error.empty() ? "{}" : ErrorJson(error));
  } catch (const JsonError& error) {
    visit.Answer(400, kJsonType, ErrorJson(error.what()));
  }
}

// {"session": 1, "order": "A00001", "do": {"fill": 1}}; empty if it was done, otherwise why not.
std::string SimPage::Do(const HttpRequest& request) {
  const Json json = ReadJson(request.body);
  const SimField field(json, {});
  field.Only({"session", "order", "do"});
  const SimAction action = ReadAction(field.At("do"));
  if (action.deed == SimDeed::Accept || action.deed == SimDeed::Ack) field.At("do").Fail("is for scripts");
  const int session = field.Has("session") ? static_cast<int>(field.At("session").Whole(0, 1 << 30)) : 0;
  const std::string order = field.Has("order") ? field.At("order").Text() : std::string();
  if (session != 0 && core_.sessions.count(session) == 0) return "this session has ended";
  return core_.player.Do(action, session, order) ? "" : "nothing is left of this order";
}

void SimPage::Watch(const SimNote& note) {
  notes_.push_back(JsonOf(note, core_.config.day.start));
  if (notes_.size() > kMostNotes) notes_.pop_front();
  for (const auto& visit : std::set(visits_)) {
    if (visit->Streams()) visit->Send("data: " + notes_.back() + "\n\n");
  }
}

}  // namespace VekSim
