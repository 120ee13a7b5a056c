// The traffic through a proxy: shown, and kept as sent.
#pragma once

#include <algorithm>
#include <chrono>
#include <future>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Capture.h"
#include "sim/SimServer.h"
#include "support/WholeSession.h"
#include "vekdump/Decoder.h"
#include "vekdump/Dump.h"
#include "vekdump/Outputs.h"
#include "vekdump/Proxy.h"
#include "vekdump/RecordingFile.h"

namespace VekDump {

struct Part {
  std::uint32_t link;
  Side from;
  std::string bytes;  // empty: the link starts or ends
  bool end = false;
};

// All output forms at once.
struct Views {
  std::ostringstream text, json, recording;

  std::unique_ptr<Filter> Outputs() {
    auto outputs = std::make_unique<Filter>(std::vector<std::uint32_t>(), std::vector<int>());
    outputs->Add(std::make_unique<TextOutput>(text, Shown{0, true}));
    outputs->Add(std::make_unique<JsonOutput>(json, true));
    outputs->Add(std::make_unique<RecordingWriter>(recording));
    return outputs;
  }
};

inline std::vector<nlohmann::ordered_json> Objects(const std::string& jsonLines) {
  std::vector<nlohmann::ordered_json> objects;
  std::istringstream in(jsonLines);
  for (std::string line; std::getline(in, line);) objects.push_back(nlohmann::ordered_json::parse(line));
  return objects;
}

// The lines without their dependence on time and place, link by link: in a capture, a link is reported at its
// first bytes.
inline std::vector<std::string> Plain(const std::string& jsonLines) {
  std::map<int, std::vector<std::string>> links;
  for (auto& json : Objects(jsonLines)) {
    for (const char* const varying : {"n", "time", "ns", "sinceNs"}) json.erase(varying);
    if (json["kind"] == "link" || json["kind"] == "end") json.erase("text");
    links[json["link"].get<int>()].push_back(json.dump());
  }
  std::vector<std::string> lines;
  for (const auto& [link, of] : links) lines.insert(lines.end(), of.begin(), of.end());
  return lines;
}

// The first lines that differ; GoogleTest's own comparison takes minutes for long sessions.
inline std::string Difference(const std::vector<std::string>& one, const std::vector<std::string>& other) {
  const auto [at, there] = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
  if (at == one.end() && there == other.end()) return {};
  return (at == one.end() ? "nothing" : *at) + "\nand not\n" + (there == other.end() ? "nothing" : *there);
}

inline std::vector<std::string> PlainOf(const std::string& file, std::uint16_t port = 0) {
  Views views;
  std::istringstream in(file);
  DumpFile(in, "file", port, *views.Outputs());
  return Plain(views.json.str());
}

class Line : public Decoder {
 public:
  Line(Output& output, const std::string& server)
      : Decoder(output), proxy_("127.0.0.1", 0, server, *this), thread_([this] { proxy_.Run(false); }) {}
  ~Line() override { Stop(); }

  std::string Setting() const { return "127.0.0.1:" + std::to_string(proxy_.Port()); }

  void Stop() {
    if (!thread_.joinable()) return;
    proxy_.Stop();
    thread_.join();
    End();
  }

  void OnLinkUp(std::uint32_t link, Moment at, std::string_view addresses) override {
    parts.push_back({link, Side::Client, {}});
    Decoder::OnLinkUp(link, at, addresses);
  }
  void OnBytes(std::uint32_t link, Moment at, Side from, std::string_view bytes, bool fromStart) override {
    parts.push_back({link, from, std::string(bytes)});
    Decoder::OnBytes(link, at, from, bytes, fromStart);
  }
  void OnLinkEnd(std::uint32_t link, Moment at, std::string_view reason) override {
    parts.push_back({link, Side::Client, {}, true});
    Decoder::OnLinkEnd(link, at, reason);
    if (!std::exchange(ended_, true)) firstEnd.set_value();
  }

  std::vector<Part> parts;      // once the proxy has stopped
  std::promise<void> firstEnd;  // of a link

 private:
  bool ended_ = false;
  Proxy proxy_;
  std::thread thread_;
};

// A whole session of the library with a server of this kind, through the proxy.
inline std::vector<Part> RunSession(const VekSim::SimConfig& config, Views& views) {
  VekSim::SimConfig used = config;
  used.requestRate = vektest::WholeSession::kRequestRate;
  VekSim::SimServer server(used);
  const auto outputs = views.Outputs();
  Line line(*outputs, "127.0.0.1:" + std::to_string(server.Port()));
  vektest::WholeSession(server, line.Setting(), 20'000).Run();
  line.Stop();
  return line.parts;
}

// The parts as segments of a capture, each in pieces of `most` bytes.
class Written {
 public:
  explicit Written(Capture& capture, std::size_t most = 1460) : capture_(&capture), most_(most) {}

  void Add(const Part& part) {
    if (part.bytes.empty()) return part.end ? Flag(part, kFin | kAck) : Open(part);
    for (std::string_view rest = part.bytes; !rest.empty();) {
      const std::string_view piece = rest.substr(0, most_);
      Send(part.link, part.from, kAck, piece);
      rest.remove_prefix(piece.size());
    }
  }

  void Open(const Part& part) {
    Send(part.link, Side::Client, kSyn, {});
    Send(part.link, Side::Server, kSyn | kAck, {});
  }
  void Flag(const Part& part, unsigned flags) { Send(part.link, part.from, flags, {}); }

  // The next bytes of that side, written to the capture.
  void Send(std::uint32_t link, Side from, unsigned flags, std::string_view bytes) {
    auto& own = Next(link, from);
    capture_->Segment(from, 40000 + link, own, Next(link, Other(from)), flags, bytes);
    own += static_cast<std::uint32_t>(bytes.size()) + ((flags & (kSyn | kFin)) != 0 ? 1 : 0);
  }

  // Sequence numbers that wrap soon.
  std::uint32_t& Next(std::uint32_t link, Side from) {
    return next_.try_emplace({link, from}, 0xFFFFF000).first->second;
  }

 private:
  Capture* capture_;
  std::size_t most_;
  std::map<std::pair<std::uint32_t, Side>, std::uint32_t> next_;
};

}  // namespace VekDump
