#include "decode_service/answer_plan.h"

#include <algorithm>

#include "base/bytes.h"

namespace devkit {
namespace {

std::vector<LineStep> InPieces(const std::string& text, std::size_t pieceSize,
                               std::chrono::microseconds gap) {
  std::vector<LineStep> steps;
  for (std::size_t offset = 0; offset < text.size(); offset += pieceSize) {
    steps.push_back(
        {offset == 0 ? std::chrono::microseconds(0) : gap, text.substr(offset, pieceSize)});
  }
  return steps;
}

// The answer made longer by one more member, its line feed kept.
std::string Oversized(std::string text, std::size_t size) {
  const bool lineFeed = text.ends_with('\n');
  if (lineFeed) text.pop_back();
  const std::string member = ",\"filler\":\"";
  const std::size_t rest = text.size() + member.size() + 2 + (lineFeed ? 1 : 0);
  if (size > rest) {
    text.pop_back();
    text += member + std::string(size - rest + 1, 'x') + "\"}";
  }
  return lineFeed ? text + "\n" : text;
}

// Letters and signs without meaning. Nothing in it looks like a long array element, which would end
// a client on purpose.
std::string Garbage(std::size_t size) {
  static constexpr char kSigns[] = "abcdefgh,,,::{}[]\"\"xyz0123;\n!?";
  std::string text;
  for (const std::uint8_t byte : PatternBytes(11, "garbage", size)) {
    text += kSigns[byte % (sizeof(kSigns) - 1)];
  }
  return text;
}

std::vector<LineStep> PlayLine(const std::string& answer, const Fault& fault) {
  switch (fault.kind) {
    case FaultKind::delay:
      return {{fault.Time("ms"), answer}};
    case FaultKind::acknowledge_first:
      return {{fault.Time("gap"), answer}};
    case FaultKind::drop:
      return {};
    case FaultKind::close:
      return {{fault.Time("ms"), {}, LineStep::Then::close}};
    case FaultKind::reset:
      return {{fault.Time("ms"), {}, LineStep::Then::reset}};
    case FaultKind::hang_up:
      if (fault.Time("ms").count() == 0) return {{{}, answer, LineStep::Then::reset}};
      return {{{}, answer}, {fault.Time("ms"), {}, LineStep::Then::reset}};
    case FaultKind::half:
      return {{{}, answer.substr(0, answer.size() / 2)}};
    case FaultKind::split: {
      const auto parts = static_cast<std::size_t>(fault.Number("parts"));
      return InPieces(answer, std::max<std::size_t>(1, (answer.size() + parts - 1) / parts),
                      fault.Time("gap"));
    }
    case FaultKind::slow:
      return InPieces(answer, static_cast<std::size_t>(fault.Number("bytes")), fault.Time("ms"));
    case FaultKind::oversized:
      return {{{}, Oversized(answer, static_cast<std::size_t>(fault.Number("bytes")))}};
    case FaultKind::garbage:
      return {{{}, Garbage(static_cast<std::size_t>(fault.Number("bytes")))}};
    default:
      return {{{}, answer}};
  }
}

}  // namespace

std::vector<LineStep> PlanAnswer(const Reply& reply) {
  std::vector<LineStep> steps;
  if (!reply.acknowledgement.empty()) steps.push_back({{}, reply.acknowledgement});
  const std::vector<LineStep> rest = reply.fault ? PlayLine(reply.answer, *reply.fault)
                                                 : std::vector<LineStep>{{{}, reply.answer}};
  steps.insert(steps.end(), rest.begin(), rest.end());
  if (!steps.empty()) steps.front().pause += reply.latency;
  return steps;
}

}  // namespace devkit
