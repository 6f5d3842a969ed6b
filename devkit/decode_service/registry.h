#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "card/card.h"
#include "fault/fault_book.h"

namespace devkit {

// What all connections of the service share: the cards it knows, the tokens it gave out, the
// faults.
class Registry {
 public:
  Registry(std::vector<Card> cards, Scenario scenario);

  // Throws FileError when two cards have the same DN.
  void SetCards(std::vector<Card> cards);
  // Starts the scenario's faults and the cards' own afresh.
  void SetScenario(Scenario scenario);

  // Null when no card has this DN. The pointer holds until SetCards.
  std::shared_ptr<const Card> FindCard(ByteView dn) const;

  // The fault that spoils this occasion, or null; of the scenario first, then of the card.
  const Fault* NextFault(std::string_view exchange, const Card* card);
  // True while the scenario holds such a fault of the connections.
  bool ConnectionsAre(FaultKind kind) const { return faults.Holds("connect", kind); }
  std::chrono::microseconds LatencyOf(std::string_view exchange, const Card* card) const;

  std::string IssueToken();
  bool KnowsToken(const std::string& token) const { return tokens.contains(token); }
  void ExpireToken(const std::string& token) { tokens.erase(token); }
  void ExpireAllTokens() { tokens.clear(); }

 private:
  struct Entry {
    std::shared_ptr<const Card> card;
    FaultBook faults;
  };
  // The index of the card's entry; none for a null card or one that is not served any more.
  std::optional<std::size_t> IndexOf(const Card* card) const;

  std::vector<Entry> entries;
  FaultBook faults;
  std::set<std::string> tokens;
  unsigned issued = 0;
};

}  // namespace devkit
