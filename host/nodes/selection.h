// Which modules of the switch a process stands for.
#ifndef HOST_NODES_SELECTION_H
#define HOST_NODES_SELECTION_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "host/chassis/chassis.h"

namespace nodes {

// What was asked for; nothing at all = every module that runs.
struct Wanted {
  std::set<uint32_t> modules;
  bool supervisor = false;
};

struct Selection {
  bool supervisor = false;  // the services of the active one
  std::vector<chassis::Module> line_cards;
};

// Throws std::invalid_argument when a module is asked for that has nothing to serve.
Selection select(const chassis::Chassis& chassis, const Wanted& wanted);

// "supervisor, modules 1, 2".
std::string text_of(const Selection& selection);

}  // namespace nodes

#endif
