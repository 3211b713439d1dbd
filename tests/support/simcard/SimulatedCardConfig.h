// Line-based description of simulated cards, for the simulated_cards runner
// (format in SimulatedCardsRunner.cpp), and the one-line text form of a
// recorded request.
#ifndef VANTORIX_SIMULATED_CARD_CONFIG_H
#define VANTORIX_SIMULATED_CARD_CONFIG_H

#include <istream>
#include <string>
#include <vector>

#include "SimulatedCard.h"

namespace simcard {

// Parses the configuration; on a syntax error returns false and sets
// `error` to "line N: reason".
bool parseConfig(std::istream& in, std::vector<NodeConfig>& nodes, std::string& error);

// "node=dv0 request=0x99a counts=0,0,3,0 scalars= code=gsub mscalars=0,0,0,0"
std::string formatRequest(const Request& request);

}  // namespace simcard

#endif
