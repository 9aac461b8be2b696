#include "modem_sim/scenario.h"

#include "modem_sim/scenario_mixed.h"
#include "modem_sim/scenario_sib.h"

namespace corvane::modem_sim {

std::unique_ptr<cScenario> MakeScenario(const std::string& name, const sStreamOptions& options) {
  if (name == "mixed") {
    return std::make_unique<cMixedScenario>(options);
  }
  if (name == "sib") {
    return std::make_unique<cSibScenario>(options);
  }
  return nullptr;
}

}  // namespace corvane::modem_sim
