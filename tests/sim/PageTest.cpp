#include <gtest/gtest.h>

#include "RawClient.h"
#include "sim/SimHttp.h"

namespace VekSim {
namespace {

using namespace std::string_literals;

int StatusOf(const std::string& bytes, std::size_t piece) {
  HttpReader reader;
  for (std::size_t at = 0; at < bytes.size(); at += piece) {
    if (const int status = reader.Feed(std::string_view(bytes).substr(at, piece)); status != 0) return status;
  }
  return 0;
}

TEST(Http, RefusesWhatIsNoRequest) {
  const std::string get = "GET / HTTP/1.1\r\n";
  const struct {
    std::string bytes;
    int status;
  } cases[] = {
      {get + "\r\n", 200},
      {get + "Host: a\r\nContent-Length: 3\r\n\r\nabcdef", 200},
      {get + "Content-Length: 3\r\n\r\nab", 0},
      {get + "Host: a\r\n", 0},
      {"", 0},
      {"\r\n\r\n", 400},
      {"GET /\r\n\r\n", 400},
      {"GET  HTTP/1.1\r\n\r\n", 400},
      {"GET x HTTP/1.1\r\n\r\n", 400},
      {"GET / HTTP/2\r\n\r\n", 400},
      {"GET /\x7F HTTP/1.1\r\n\r\n", 400},
      {"G\0T / HTTP/1.1\r\n\r\n"s, 400},
      {get + "Host a\r\n\r\n", 400},
      {get + " Host: a\r\n\r\n", 400},
      {get + "Host: a\r\nhost: b\r\n\r\n", 400},
      {get + "Content-Length: -1\r\n\r\n", 400},
      {get + "Content-Length: 99999999999999999999\r\n\r\n", 400},
      {get + "Content-Length: 4097\r\n\r\n", 413},
      {get + "Transfer-Encoding: chunked\r\n\r\n", 411},
      {get + "X: " + std::string(9000, 'x'), 431},
      {std::string(9000, 'x'), 431},
  };
  for (const auto& one : cases) {
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{20000}}) {
      EXPECT_EQ(StatusOf(one.bytes, piece), one.status) << one.bytes.substr(0, 80);
    }
  }
}

struct Page : testing::Test {
  static SimConfig Config() {
    SimConfig config;
    config.webPort = 0;
    return config;
  }
  // The whole answer; the Host header of the request can be replaced.
  std::string Ask(const std::string& line, const std::string& headers = {}, const std::string& body = {}) {
    asio::io_context io;
    asio::ip::tcp::socket socket(io);
    socket.connect({asio::ip::make_address("127.0.0.1"), static_cast<std::uint16_t>(std::stoi(port))});
    const std::string host =
        headers.find("Host:") == std::string::npos ? "Host: localhost:" + port + "\r\n" : "";
    asio::write(socket, asio::buffer(line + " HTTP/1.1\r\n" + host + headers +
                                     "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body));
    std::string answer;
    asio::error_code end;
    asio::read(socket, asio::dynamic_buffer(answer), end);
    return answer;
  }
  std::string Token() {
    const std::string html = Ask("GET /"), mark = "token = \"";
    return "X-Vek-Token: " + html.substr(html.find(mark) + mark.size(), 32) + "\r\n";
  }
  static std::string Status(const std::string& answer) { return answer.substr(9, 3); }

  SimServer server{Config()};
  std::string port = server.PageUrl().substr(17, server.PageUrl().size() - 18);
};

TEST_F(Page, AnswersOnlyItself) {
  const std::string token = Token(), here = "http://localhost:" + port;
  const struct {
    std::string line, headers, status;
  } cases[] = {
      {"GET /state", token, "200"},
      {"GET /state", token + "Origin: " + here + "\r\nSec-Fetch-Site: same-origin\r\n", "200"},
      {"GET /state", "", "403"},
      {"GET /state", "X-Vek-Token: 0123456789abcdef0123456789abcdef\r\n", "403"},
      {"GET /state", token + "Origin: http://example.com\r\n", "403"},
      {"GET /state", token + "Origin: null\r\n", "403"},
      {"GET /state", token + "Sec-Fetch-Site: cross-site\r\n", "403"},
      {"GET /state", token + "Host: example.com:" + port + "\r\n", "403"},
      {"GET /", "Host: example.com:" + port + "\r\n", "403"},
      {"GET /events", "", "403"},
      {"GET /do", token, "405"},
      {"POST /", token, "405"},
      {"GET /../etc/passwd", token, "404"},
  };
  for (const auto& one : cases)
    EXPECT_EQ(Status(Ask(one.line, one.headers)), one.status) << one.line << one.headers;
}

TEST_F(Page, TakesATokenWhereOthersReachIt) {
  SimConfig config = Config();
  config.webHost = "0.0.0.0";
  const SimServer open(config);
  const std::string url = open.PageUrl();
  const std::size_t slash = url.find('/', 8);
  port = url.substr(15, slash - 15);
  EXPECT_EQ(Status(Ask("GET /")), "403");
  EXPECT_EQ(Status(Ask("GET /?token=")), "403");
  EXPECT_EQ(Status(Ask("GET " + url.substr(slash))), "200");
}

TEST_F(Page, FillsAndRejectsOrders) {
  RawClient client(server);
  client.Enter();
  client.Request(Code::kAck, "a new\nprod=TXF side=B qty=3 price=18000");
  client.NextText();
  client.NextText();
  const std::string token = Token();
  EXPECT_EQ(Status(Ask("POST /do", "", R"({"order": "A00001", "do": {"fill": 1}})")), "403");
  EXPECT_EQ(Status(Ask("POST /do", token, R"({"order": "A00001", "do": {"fill": 1}})")), "200");
  EXPECT_TRUE(client.NextText().starts_with("fill\1"));
  EXPECT_EQ(Status(Ask("POST /do", token, R"({"order": "A00001", "do": {"reject": 105}})")), "200");
  EXPECT_TRUE(client.NextText().starts_with("rejected\1"));
  EXPECT_EQ(Status(Ask("POST /do", token, R"({"order": "A00001", "do": {"fill": 1}})")), "409");
  EXPECT_EQ(Status(Ask("POST /do", token, R"({"session": 9, "do": {"cut": 1}})")), "409");
  for (const char* body : {"", "{", "[]", R"({"do": {"fly": 1}})", R"({"do": {"ack": "missing"}})"}) {
    EXPECT_EQ(Status(Ask("POST /do", token, body)), "400") << body;
  }
  EXPECT_NE(Ask("GET /state", token).find(R"("state":"委託失敗")"), std::string::npos);
}

}  // namespace
}  // namespace VekSim
