// A SetRequest as one change of the switch: looked at, made, and taken back, as a whole.
#ifndef HOST_AGENT_CHANGE_H
#define HOST_AGENT_CHANGE_H

#include <map>
#include <optional>
#include <set>
#include <vector>

#include "host/agent/assignment.h"
#include "host/agent/steps.h"

namespace agent {

class Change {
 public:
  // The variable that is at fault, by its place in the request, and an error of SNMP.
  struct Failure {
    size_t variable;
    int error;

    bool operator==(const Failure&) const = default;
  };
  using Outcome = std::optional<Failure>;  // nothing = done

  explicit Change(std::vector<Assignment> assignments) : assignments_(std::move(assignments)) {}

  // Looks at what there is, and what is to be done. Changes nothing.
  Outcome plan();

  // Does it, up to the first step that fails.
  Outcome apply();

  // Takes back what apply() has done, the last step first. False when something could not be taken back.
  bool undo();

 private:
  // What the VSANs of a session are to be, from all the quarters that are set.
  struct VsanPlan {
    VsanBits before;
    VsanBits vsans;
    size_t variable;
  };

  int find_conflict(const Assignment& assignment);
  int plan(const Assignment& assignment, size_t variable);
  int plan_session(const Assignment& assignment, size_t variable);
  int plan_session_row(uint32_t session, uint32_t row_status, size_t variable);
  int plan_source(const Assignment& assignment, size_t variable);
  int plan_vsans(const Assignment& assignment, size_t variable);
  int plan_threshold(const Assignment& assignment, size_t variable);

  int find_session(uint32_t session, span_snmp_session_entry_t& row) const;
  int take(std::optional<Step> step, size_t variable);

  std::vector<Assignment> assignments_;
  std::set<uint32_t> created_;
  std::set<uint32_t> destroyed_;
  std::map<std::pair<oid, uint32_t>, VsanPlan> vsans_;  // by table and session
  std::vector<Step> steps_;
  size_t begun_ = 0;  // steps that were applied, the one that failed included
};

}  // namespace agent

#endif
