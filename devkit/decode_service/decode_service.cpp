#include "decode_service/decode_service.h"

#include <future>
#include <thread>

#include "base/json_file.h"
#include "decode_service/client_connection.h"
#include "decode_service/listener.h"
#include "decode_service/service_state.h"

namespace devkit {
namespace {

// How soon a changed scenario file is noticed without a client that connects.
constexpr std::chrono::milliseconds kFilePause(100);

Listener::Mode ModeOf(const Registry& registry) {
  if (registry.ConnectionsAre(FaultKind::not_listening)) return Listener::Mode::refusing;
  if (registry.ConnectionsAre(FaultKind::unanswered)) return Listener::Mode::unanswered;
  return Listener::Mode::open;
}

}  // namespace

struct DecodeService::Impl {
  Impl(std::vector<Card> cards, Scenario scenario, ServiceOptions options)
      : state(std::move(cards), std::move(scenario), std::move(options)),
        listener(context, state.options.port,
                 [this](asio::ip::tcp::socket socket) { Accepted(std::move(socket)); }),
        fileTimer(context) {
    if (!state.options.scenarioFile.empty()) ReadScenarioFile();
    ApplyMode();
    WatchScenarioFile();
    thread = std::thread([this] { context.run(); });
  }

  void Accepted(asio::ip::tcp::socket socket) {
    LookAtScenarioFile();
    if (CurrentMode() != Listener::Mode::open) return;  // as the changed file has it
    std::make_shared<ClientConnection>(state, std::move(socket))->Start();
  }

  // Throws FileError.
  void ReadScenarioFile() {
    const std::filesystem::path& file = state.options.scenarioFile;
    scenarioText = ReadTextFile(file).value_or("");
    Scenario scenario = ParseScenario(ParseJsonText(scenarioText, PathText(file)), PathText(file));
    const std::lock_guard lock(state.mutex);
    state.registry.SetScenario(std::move(scenario));
  }

  void LookAtScenarioFile() {
    if (state.options.scenarioFile.empty()) return;
    const std::optional<std::string> text = ReadTextFile(state.options.scenarioFile);
    if (!text || *text == scenarioText) return;
    try {
      ReadScenarioFile();
      state.Log("the scenario was read again");
    } catch (const FileError& error) {
      state.Log(error.what());
    }
    ApplyMode();
  }

  // As the scenario says, the port is open or not.
  void ApplyMode() {
    try {
      listener.SetMode(CurrentMode());
    } catch (const std::exception& error) {
      state.Log(std::string("the port is lost: ") + error.what());
    }
  }

  Listener::Mode CurrentMode() const {
    const std::lock_guard lock(state.mutex);
    return ModeOf(state.registry);
  }

  // Who connects finds the port as the file has it by then; and with the port closed nobody else
  // would look.
  void WatchScenarioFile() {
    if (state.options.scenarioFile.empty()) return;
    fileTimer.expires_after(kFilePause);
    fileTimer.async_wait([this](std::error_code error) {
      if (error || !work.owns_work()) return;
      LookAtScenarioFile();
      WatchScenarioFile();
    });
  }

  void CloseAll() {
    work.reset();
    listener.Close();
    fileTimer.cancel();
    std::vector<std::shared_ptr<ClientConnection>> open;
    {
      const std::lock_guard lock(state.mutex);
      for (ClientConnection* connection : state.connections) {
        open.push_back(connection->shared_from_this());
      }
    }
    for (const auto& connection : open) connection->End(LineStep::Then::close);
  }

  // Runs the work on the service's thread and returns when it is done; at once when that has ended.
  void Run(const std::function<void()>& task) {
    if (!thread.joinable()) return;
    std::promise<void> done;
    asio::post(context, [&] {
      task();
      done.set_value();
    });
    done.get_future().wait();
  }

  // In this order: what is under way in the context refers to the state.
  ServiceState state;
  asio::io_context context;
  // Nothing else may be under way while the port is not open.
  asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
  Listener listener;
  asio::steady_timer fileTimer;
  std::string scenarioText;  // of the scenario file as it was last read
  std::thread thread;
};

DecodeService::DecodeService(std::vector<Card> cards, Scenario scenario, ServiceOptions options)
    : impl(std::make_unique<Impl>(std::move(cards), std::move(scenario), std::move(options))) {}

DecodeService::~DecodeService() { Stop(); }

std::uint16_t DecodeService::Port() const { return impl->listener.Port(); }

void DecodeService::SetScenario(Scenario scenario) {
  {
    const std::lock_guard lock(impl->state.mutex);
    impl->state.registry.SetScenario(std::move(scenario));
  }
  impl->Run([this] { impl->ApplyMode(); });
}

void DecodeService::SetCards(std::vector<Card> cards) {
  const std::lock_guard lock(impl->state.mutex);
  impl->state.registry.SetCards(std::move(cards));
}

void DecodeService::ExpireAllTokens() {
  const std::lock_guard lock(impl->state.mutex);
  impl->state.registry.ExpireAllTokens();
}

void DecodeService::Stop() {
  if (!impl->thread.joinable()) return;
  // The context is out of work when the listener and every connection are closed.
  asio::post(impl->context, [this] { impl->CloseAll(); });
  impl->thread.join();
}

std::vector<ReceivedMessage> DecodeService::Received() const {
  const std::lock_guard lock(impl->state.mutex);
  return {impl->state.received.begin(), impl->state.received.end()};
}

void DecodeService::ForgetReceived() {
  const std::lock_guard lock(impl->state.mutex);
  impl->state.received.clear();
  impl->state.receivedCount = 0;
}

bool DecodeService::WaitForReceived(std::size_t count, std::chrono::milliseconds limit) const {
  const ServiceState& state = impl->state;
  std::unique_lock lock(state.mutex);
  return state.grown.wait_for(lock, limit, [&] { return state.receivedCount >= count; });
}

int DecodeService::ConnectionsSoFar() const {
  const std::lock_guard lock(impl->state.mutex);
  return impl->state.connectionCount;
}

int DecodeService::OpenConnections() const {
  const std::lock_guard lock(impl->state.mutex);
  return static_cast<int>(impl->state.connections.size());
}

}  // namespace devkit
