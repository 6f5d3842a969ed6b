#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "desk_server/live_desk.h"

namespace devkit {

struct DeskServerOptions {
  std::uint16_t port = 0;  // 0: any free one
  std::string language = "en";
  std::string startLine;  // how to point a program at this desk
};

// The page and what it asks for, over HTTP, on the loopback interface alone. Whoever was sent here by
// a page from elsewhere is refused: by a Host that is not this server's own name (a name of somebody
// else's that leads here), by an Origin that is not the page's own, and by what a browser tells about
// the site that a request comes from. Only POST changes anything, and only with JSON, which a foreign
// page cannot send. Nothing is served but the files that are part of the program and what the desk
// holds. Each connection carries one request, so that no body can be taken for another request.
class DeskServer {
 public:
  // Throws std::runtime_error when the port cannot be had.
  DeskServer(LiveDesk& desk, DeskServerOptions options);
  ~DeskServer();
  DeskServer(const DeskServer&) = delete;
  DeskServer& operator=(const DeskServer&) = delete;

  std::uint16_t Port() const;
  std::string Address() const { return "http://127.0.0.1:" + std::to_string(Port()) + "/"; }

  // Ends the desk, too: it is what the followers of the events wait for.
  void Stop();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl;
};

}  // namespace devkit
