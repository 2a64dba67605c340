#include "simulation/mail/htmltext.h"

namespace simulation::mail {

std::string TextOfHtml(const std::string&) {
  return {};
}

}  // namespace simulation::mail
