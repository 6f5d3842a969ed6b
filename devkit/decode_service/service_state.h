#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

#include "decode_service/decode_service.h"
#include "decode_service/registry.h"

namespace devkit {

class ClientConnection;

// What the service's connections share with each other and with its owner.
struct ServiceState {
  ServiceState(std::vector<Card> cards, Scenario scenario, ServiceOptions serviceOptions)
      : options(std::move(serviceOptions)), registry(std::move(cards), std::move(scenario)) {}

  const ServiceOptions options;

  void Log(const std::string& line) const {
    if (options.log) options.log(line);
  }

  mutable std::mutex mutex;  // guards all below
  mutable std::condition_variable grown;
  Registry registry;
  std::deque<ReceivedMessage> received;
  std::size_t receivedCount = 0;  // since they were last forgotten
  int connectionCount = 0;
  std::vector<ClientConnection*> connections;

  // With the mutex held.
  void Remember(ReceivedMessage message) {
    received.push_back(std::move(message));
    ++receivedCount;
    if (received.size() > options.rememberedMessages) received.pop_front();
    grown.notify_all();
  }
};

}  // namespace devkit
