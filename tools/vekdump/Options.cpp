#include "vekdump/Options.h"

#include <CLI/CLI.hpp>

#include "CommandLine.h"

namespace VekDump {

namespace {

constexpr char kAbout[] =
    "Shows what goes over the wire between a client and an order-routing server: from a recording, from a "
    "capture file (pcap or pcapng), or live, standing between the two. Passwords are always masked.";

constexpr char kExamples[] = R"(Examples:
  vekdump day.vekrec                     a recording, made with --record
  vekdump day.pcap                       a capture, made with: tcpdump -w day.pcap port 9000
  vekdump day.pcap --stats               round trips, as a histogram
  vekdump day.pcap --chart day.svg       the session as a sequence diagram; open it in a browser
  vekdump day.pcap --json | jq .         one object a line, for programs
  vekdump --listen 9001 --to host:9000   live: let the client connect to port 9001 of this machine; end with Ctrl-C
  tcpdump -U -w - port 9000 | vekdump -  a capture, while it is made

A capture must hold the start of a connection, as the key and the byte order are agreed on there. A line is:
number, time (UTC), time since the line before, link, --> for what the client sent and <-- for the server, the packet's
name, code and length.

Ends with 0; 1 when the input is bad (what is there before the fault is shown); above 100 when an option is wrong.)";

void AddSources(CLI::App& app, Options& o) {
  auto* file = app.add_option("file", o.file, "Recording or capture file; -: the standard input");
  auto* listen = app.add_option(
      "--listen", o.listen, "Stand between client and server: listen on this port; 0 lets the system choose");
  app.add_option("--to", o.server, "The server, HOST:PORT")->needs(listen)->excludes(file);
  listen->needs("--to")->excludes(file);
  app.add_option("--address", o.address, "Address to listen on")->needs(listen)->capture_default_str();
  app.add_option("--port-file", o.portFile, "Write the port to this file once it listens")->needs(listen);
  app.add_option("--port", o.serverPort,
                 "Server's port in a capture; default: connections that look like the protocol")
      ->excludes(listen);
}

void AddForms(CLI::App& app, Options& o) {
  auto* json = app.add_flag("--json", o.json, "One JSON object a line");
  app.add_flag("--hex", o.shown.hex, "The bytes of each packet as well, descrambled");
  app.add_option("--rows", o.shown.rows, "Show so many records of a table and lines of a text; 0: all")
      ->capture_default_str()
      ->check(CLI::Range(0, 1'000'000'000))
      ->excludes(json);
  app.add_flag("--stats", o.stats, "Only counts and round trips, at the end");
  app.add_option("--chart", o.chart, "Write a sequence diagram to this SVG file");
  app.add_option("--record", o.record, "Write a recording to this file");
  app.add_option("--link", o.links, "Only this link; may be given again")
      ->check(CLI::Range(1, 1'000'000'000));
  app.add_option("--code", o.codes, "Only packets of this code; may be given again")
      ->check(CLI::Range(0, 4095));
}

}  // namespace

bool ReadOptions(int argc, char** argv, Options& options, int& exitCode) {
  CLI::App app(kAbout, "vekdump");
  app.footer(kExamples);
  AddSources(app, options);
  AddForms(app, options);
  RefuseEmpty(app);
  try {
    app.parse(argc, argv);
    if (options.file.empty() && options.server.empty())
      throw CLI::RequiredError("FILE, or --listen PORT and --to HOST:PORT");
  } catch (const CLI::ParseError& error) {
    exitCode = TellParsed(app, error, 1);
    return false;
  }
  return true;
}

}  // namespace VekDump
