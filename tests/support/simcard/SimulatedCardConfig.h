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

// The configuration format this version reads ("format 1" as its first line,
// or no format line at all).
constexpr int kConfigFormat = 1;

// Parses the configuration; on a syntax error returns false and sets
// `error` to "line N: reason".
bool parseConfig(std::istream& in, std::vector<NodeConfig>& nodes, std::string& error);

// "node=dv0 request=0x99a counts=0,0,3,0 scalars= code=gsub mscalars=0,0,0,0"
std::string formatRequest(const Request& request);

// The same as one JSON object: {"node","request","counts","scalars","struct"}
// and for messages "code" and "mscalars"; raw requests {"node","request",
// "raw","bytes"}. Numbers in hex strings, bytes as hex digits.
std::string formatRequestJson(const Request& request);

}  // namespace simcard

#endif
