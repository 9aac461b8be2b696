#include <utility>

#include "modem_sim/scenario.h"

namespace corvane::modem_sim {
namespace {

constexpr std::size_t kWrapperSize = 8;

// How a subscription is told. The first one has three numbers.
[[nodiscard]] std::uint32_t ToldNumber(std::uint32_t subscription, cRandom& random) {
  if (subscription != 1) {
    return subscription;
  }
  switch (random.Below(8)) {
    case 0:
      return 0;
    case 1:
      return 0xFFFFFFFF;
    default:
      return 1;
  }
}

[[nodiscard]] Bytes Wrapped(std::uint32_t told, ByteView packet) {
  Bytes wrapper = {eCommand::kWrapper, 1, 0, 0};
  AppendU32(wrapper, told);
  AppendBytes(wrapper, packet);
  return wrapper;
}

[[nodiscard]] std::unique_ptr<cScenario> MakeScenarioOfOneSim(const std::string& name,
                                                              const sStreamOptions& options) {
  if (name == "mixed") {
    return std::make_unique<cMixedScenario>(options);
  }
  if (name == "sib") {
    return std::make_unique<cSibScenario>(options);
  }
  if (name == "signalling") {
    return std::make_unique<cSignallingScenario>(options);
  }
  return nullptr;
}

}  // namespace

cSubscriptionsScenario::cSubscriptionsScenario(
    std::uint64_t seedOfChoice, std::vector<std::unique_ptr<cScenario>> scenariosOfSims)
    : seed(seedOfChoice), sims(std::move(scenariosOfSims)) {}

bool cSubscriptionsScenario::CanSend(const cMasks& masks) const {
  return sims.front()->CanSend(masks);
}

sStreamPacket cSubscriptionsScenario::Make(std::uint64_t number, bool delivered,
                                           const cMasks& masks) {
  cRandom random(seed, eDraw::Subscription, number);
  const std::size_t sim = random.Below(sims.size());
  sStreamPacket made = sims[sim]->Make(number, delivered, masks);
  if (made.kind == "log") {
    const auto subscription = static_cast<std::uint32_t>(sim + 1);
    Bytes wrapper = Wrapped(ToldNumber(subscription, random), made.packet);
    made.wrapped = sWrapped{subscription, std::exchange(made.packet, std::move(wrapper))};
  }
  return made;
}

void cSubscriptionsScenario::HostGone() {
  for (const auto& sim : sims) {
    sim->HostGone();
  }
}

std::unique_ptr<cScenario> MakeScenario(const std::string& name, const sStreamOptions& options) {
  if (options.subscriptions <= 1) {
    return MakeScenarioOfOneSim(name, options);
  }
  std::vector<std::unique_ptr<cScenario>> sims;
  for (std::uint32_t sim = 0; sim < options.subscriptions; ++sim) {
    sStreamOptions own = options;
    own.seed += sim;
    // Each byte of a wrapper takes one or two bytes of the frame.
    own.maxFrame -= 2 * kWrapperSize;
    sims.push_back(MakeScenarioOfOneSim(name, own));
    if (sims.back() == nullptr) {
      return nullptr;
    }
  }
  return std::make_unique<cSubscriptionsScenario>(options.seed, std::move(sims));
}

}  // namespace corvane::modem_sim
