#include "decode_service/registry.h"

#include <algorithm>

#include "base/json_file.h"

namespace devkit {

Registry::Registry(std::vector<Card> cards, Scenario scenario) {
  SetCards(std::move(cards));
  SetScenario(std::move(scenario));
}

void Registry::SetCards(std::vector<Card> cards) {
  std::map<Bytes, std::string> labels;
  std::vector<Entry> newEntries;
  for (Card& card : cards) {
    if (!card.IsIdentityCard()) continue;  // nothing of such a card ever comes here
    const auto [known, isNew] = labels.emplace(card.dn, card.label);
    if (!isNew) {
      throw FileError("the cards " + known->second + " and " + card.label +
                      " have the same DN: give them different seeds");
    }
    FaultBook book(card.faults.service);
    newEntries.push_back({std::make_shared<const Card>(std::move(card)), std::move(book)});
  }
  entries = std::move(newEntries);
}

void Registry::SetScenario(Scenario scenario) {
  faults = FaultBook(std::move(scenario.service));
  for (Entry& entry : entries) entry.faults = FaultBook(entry.card->faults.service);
}

std::shared_ptr<const Card> Registry::FindCard(ByteView dn) const {
  for (const Entry& entry : entries) {
    if (std::equal(dn.begin(), dn.end(), entry.card->dn.begin(), entry.card->dn.end())) {
      return entry.card;
    }
  }
  return nullptr;
}

const Fault* Registry::NextFault(std::string_view exchange, const Card* card) {
  if (const Fault* fault = faults.Next(exchange)) return fault;
  const std::optional<std::size_t> index = IndexOf(card);
  return index ? entries[*index].faults.Next(exchange) : nullptr;
}

std::chrono::microseconds Registry::LatencyOf(std::string_view exchange, const Card* card) const {
  const std::optional<std::size_t> index = IndexOf(card);
  for (const std::string_view name : {exchange, std::string_view("exchange")}) {
    if (const auto latency = faults.Latency(name)) return *latency;
    if (!index) continue;
    if (const auto latency = entries[*index].faults.Latency(name)) return *latency;
  }
  return std::chrono::microseconds(0);
}

std::string Registry::IssueToken() {
  const std::string token = ToHex(PatternBytes(++issued, "token", 16));
  tokens.insert(token);
  return token;
}

std::optional<std::size_t> Registry::IndexOf(const Card* card) const {
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (entries[i].card.get() == card) return i;
  }
  return std::nullopt;
}

}  // namespace devkit
