#include "desk_server/desk_server.h"

#include <httplib.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "base/json_file.h"
#include "desk_server/page_files.h"

namespace devkit {
namespace {

using Json = nlohmann::ordered_json;
using httplib::Request;
using httplib::Response;

constexpr std::size_t kThreads = 64;
constexpr int kMostFollowers = 24;  // each keeps a thread
constexpr std::size_t kLargestBody = 65'536;
constexpr std::chrono::seconds kSlowestPiece(3);  // of a request, or of what a client takes
constexpr std::chrono::milliseconds kAlivePause(2000);
constexpr std::chrono::milliseconds kNewsPause(60);

const httplib::Headers& SafeHeaders() {
  static const auto& headers = *new httplib::Headers{
      {"Content-Security-Policy",
       "default-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
      {"X-Content-Type-Options", "nosniff"},
      {"Referrer-Policy", "no-referrer"},
      {"Cross-Origin-Resource-Policy", "same-origin"},
      {"Cross-Origin-Opener-Policy", "same-origin"},
      {"Cache-Control", "no-store"}};
  return headers;
}

// Another program must not get the port as well, or afterwards what was meant for the one before.
void KeepPortForUs(socket_t socket) {
#if defined(_WIN32)
  const int option = SO_EXCLUSIVEADDRUSE;
#else
  const int option = SO_REUSEADDR;
#endif
  const int on = 1;
  setsockopt(socket, SOL_SOCKET, option, reinterpret_cast<const char*>(&on), sizeof on);
}

void Answer(Response& response, int status, const Json& content) {
  response.status = status;
  response.set_content(content.dump(-1, ' ', false, Json::error_handler_t::replace),
                       "application/json");
}

void Refuse(Response& response, int status, const std::string& reason) {
  Answer(response, status, {{"error", reason}});
}

std::string EventText(const char* name, const Json& data) {
  return "event: " + std::string(name) +
         "\ndata: " + data.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n\n";
}

// Null or a text; throws Refused for anything else.
std::optional<std::string> NameIn(const Json& body, const char* member) {
  const auto found = body.find(member);
  if (found == body.end()) throw Refused(std::string("\"") + member + "\" is missing");
  if (found->is_null()) return std::nullopt;
  if (!found->is_string()) throw Refused(std::string("\"") + member + "\" must be a text or null");
  return found->get<std::string>();
}

// What is sent here is flat: an object of names, and of texts that hold JSON.
Json FlatBody(const std::string& text) {
  const Json body = Json::parse(
      text, [](int depth, Json::parse_event_t, Json&) { return depth <= 1; }, false);
  if (!body.is_object()) throw Refused("the body must be a JSON object");
  return body;
}

}  // namespace

struct DeskServer::Impl {
  Impl(LiveDesk& liveDesk, DeskServerOptions serverOptions)
      : desk(liveDesk), options(std::move(serverOptions)) {
    server.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    server.set_socket_options(&KeepPortForUs);
    server.set_tcp_nodelay(true);
    server.set_keep_alive_max_count(1);
    server.set_read_timeout(kSlowestPiece);
    server.set_write_timeout(kSlowestPiece);
    server.set_payload_max_length(kLargestBody);
    server.set_default_headers(SafeHeaders());
    server.set_pre_routing_handler([this](const Request& request, Response& response) {
      return Allowed(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                        : httplib::Server::HandlerResponse::Handled;
    });
    server.set_error_handler([](const Request&, Response& response) {
      if (response.body.empty()) Refuse(response, response.status, "not here");
    });
    server.set_exception_handler(
        [](const Request&, Response& response, std::exception_ptr failure) {
          try {
            std::rethrow_exception(std::move(failure));
          } catch (const Refused& refusal) {
            Refuse(response, 422, refusal.what());
          } catch (const std::exception& error) {
            Refuse(response, 500, error.what());
          }
        });
    OfferPage();
    OfferDesk();
    OfferChanges();
    const int bound = options.port == 0
                          ? server.bind_to_any_port("127.0.0.1")
                          : (server.bind_to_port("127.0.0.1", options.port) ? options.port : -1);
    if (bound <= 0) throw std::runtime_error("the page's port cannot be had");
    options.port = static_cast<std::uint16_t>(bound);
    thread = std::thread([this] { server.listen_after_bind(); });
  }

  bool Allowed(const Request& request, Response& response) const {
    const auto refused = [&](const char* reason) {
      Refuse(response, 403, reason);
      return false;
    };
    const std::string port = ":" + std::to_string(options.port);
    const std::string host = request.get_header_value("Host");
    if (request.get_header_value_count("Host") != 1 ||
        (host != "127.0.0.1" + port && host != "localhost" + port)) {
      return refused("a foreign Host");
    }
    const std::size_t origins = request.get_header_value_count("Origin");
    if (origins > 1 || (origins == 1 && request.get_header_value("Origin") != "http://" + host)) {
      return refused("a foreign Origin");
    }
    // A link that leads to the page is no attack.
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    if (!site.empty() && site != "same-origin" && site != "none" && request.path != "/") {
      return refused("a foreign site");
    }
    if (request.method == "GET" || request.method == "HEAD") return true;
    if (request.method != "POST") {
      Refuse(response, 405, "GET and POST only");
      return false;
    }
    const std::string type = request.get_header_value("Content-Type");
    if (type.substr(0, type.find(';')) != "application/json") {
      Refuse(response, 415, "JSON only");
      return false;
    }
    return true;
  }

  void OfferPage() {
    for (const PageFile& file : PageFiles()) {
      std::string content(file.content);
      if (file.path == "/") {
        const std::string mark = "lang=\"en\"";
        content.replace(content.find(mark), mark.size(), "lang=\"" + options.language + "\"");
      }
      std::string pattern;
      for (const char letter : file.path) pattern += letter == '.' ? "\\." : std::string(1, letter);
      server.Get(pattern,
                 [content, type = std::string(file.type)](const Request&, Response& response) {
                   response.set_content(content, type);
                 });
    }
  }

  Json TableContent() const {
    Json content = desk.DescribeTable();
    content["startLine"] = options.startLine;
    content["servicePort"] = desk.ServicePort();
    return content;
  }

  void OfferDesk() {
    server.Get("/api/desk", [this](const Request&, Response& response) {
      Answer(response, 200, TableContent());
    });
    server.Get("/api/reads",
               [this](const Request&, Response& response) { Answer(response, 200, desk.Reads()); });
    server.Get("/api/reads/([0-9]{1,15})", [this](const Request& request, Response& response) {
      const Json read = desk.Read(std::stoull(request.matches[1]));
      if (read.is_null()) return Refuse(response, 404, "there is no such read any more");
      Answer(response, 200, read);
    });
    server.Get("/api/cards/([A-Za-z0-9_-]{1,64})\\.json", [this](const Request& request,
                                                                 Response& response) {
      const std::string name = request.matches[1];
      const auto text = desk.CardText(name);
      if (!text) return Refuse(response, 404, "there is no card of this name");
      response.set_header("Content-Disposition", "attachment; filename=\"" + name + ".json\"");
      response.set_content(*text, "application/json");
    });
    server.Get("/api/events", [this](const Request&, Response& response) {
      if (++followers > kMostFollowers) {
        --followers;
        return Refuse(response, 503, "too many pages follow this desk");
      }
      response.set_chunked_content_provider(
          "text/event-stream",
          [this, seen = LiveDesk::Seen{}](std::size_t, httplib::DataSink& sink) mutable {
            return SendNews(seen, sink);
          },
          [this](bool) { --followers; });
    });
  }

  bool SendNews(LiveDesk::Seen& seen, httplib::DataSink& sink) const {
    bool newTable = false;
    bool newReads = false;
    if (!desk.AwaitNews(seen, kAlivePause, newTable, newReads)) return false;
    std::string text;
    if (newTable) text += EventText("desk", TableContent());
    if (newReads) text += EventText("reads", desk.Reads());
    // A comment, by which a client that has gone is noticed.
    if (text.empty()) text = ": alive\n\n";
    if (!sink.write(text.data(), text.size())) return false;
    // What comes in between is sent together.
    std::this_thread::sleep_for(kNewsPause);
    return true;
  }

  void OfferChange(const char* path, void (*change)(DeskTable&, const Json&)) {
    server.Post(path, [this, change](const Request& request, Response& response) {
      const Json body = FlatBody(request.body);
      desk.Change([&](DeskTable& table) { change(table, body); });
      Answer(response, 200, {{"done", true}});
    });
  }

  void OfferChanges() {
    OfferChange("/api/card",
                [](DeskTable& table, const Json& body) { table.Lay(NameIn(body, "card")); });
    OfferChange("/api/scenario",
                [](DeskTable& table, const Json& body) { table.Choose(NameIn(body, "scenario")); });
    OfferChange("/api/reader", [](DeskTable& table, const Json& body) {
      const auto plugged = body.find("plugged");
      if (plugged == body.end() || !plugged->is_boolean()) {
        throw Refused("\"plugged\" must be true or false");
      }
      table.Plug(plugged->get<bool>());
    });
    OfferChange("/api/save", [](DeskTable& table, const Json& body) {
      table.Save(NameIn(body, "name").value_or(""), NameIn(body, "json").value_or(""));
    });
  }

  void Stop() {
    desk.End();
    server.stop();
    if (thread.joinable()) thread.join();
  }

  LiveDesk& desk;
  DeskServerOptions options;
  httplib::Server server;
  std::atomic<int> followers = 0;
  std::thread thread;
};

DeskServer::DeskServer(LiveDesk& desk, DeskServerOptions options)
    : impl(std::make_unique<Impl>(desk, std::move(options))) {}

DeskServer::~DeskServer() { Stop(); }

std::uint16_t DeskServer::Port() const { return impl->options.port; }

void DeskServer::Stop() { impl->Stop(); }

}  // namespace devkit
