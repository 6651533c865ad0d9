#include "host/agent/change.h"

#include <algorithm>
#include <utility>

namespace agent {
namespace {

constexpr uint32_t kNotSuspended = 1;

bool is_session_row(const Assignment& assignment) {
  return assignment.table == kSessionTable && assignment.column == kSessionRowStatus;
}

// The session that a variable is about; 0 for the drop threshold.
uint32_t session_of(const Assignment& assignment) { return static_cast<uint32_t>(assignment.index.front()); }

// A row that is not there cannot be made active, one that is there cannot be created. Whether there is something to do.
int row_error(uint32_t row_status, bool exists) {
  if (row_status == kDestroy) return SNMP_ERR_NOERROR;
  return exists == (row_status == kActiveRow) ? SNMP_ERR_NOERROR : SNMP_ERR_INCONSISTENTVALUE;
}

bool has_to_act(uint32_t row_status, bool exists) {
  return row_status == kCreateAndGo || (row_status == kDestroy && exists);
}

}  // namespace

// ---- Planning -------------------------------------------------------------------------------------------------------

Change::Outcome Change::plan() {
  for (const Assignment& each : assignments_) {
    if (is_session_row(each) && each.value.number == kCreateAndGo) created_.insert(session_of(each));
    if (is_session_row(each) && each.value.number == kDestroy) destroyed_.insert(session_of(each));
  }
  for (size_t i = 0; i < assignments_.size(); ++i) {
    int error = find_conflict(assignments_[i]);
    if (error == SNMP_ERR_NOERROR) error = plan(assignments_[i], i);
    if (error != SNMP_ERR_NOERROR) return Failure{i, error};
  }
  for (const auto& [at, plan] : vsans_) take(change_vsans(at.first, at.second, plan.before, plan.vsans), plan.variable);
  return std::nullopt;
}

// Two values for one object, or something for a session that is to go.
int Change::find_conflict(const Assignment& assignment) {
  const auto same = [&](const Assignment& other) {
    return other.row() == assignment.row() && other.column == assignment.column;
  };
  if (std::ranges::count_if(assignments_, same) > 1) return SNMP_ERR_INCONSISTENTVALUE;
  const bool going = destroyed_.contains(session_of(assignment));
  return going && !is_session_row(assignment) ? SNMP_ERR_INCONSISTENTVALUE : SNMP_ERR_NOERROR;
}

int Change::plan(const Assignment& assignment, size_t variable) {
  switch (assignment.table) {
    case kSessionTable:
      return plan_session(assignment, variable);
    case kSourceIfTable:
      return plan_source(assignment, variable);
    case kDropsGroup:
      return plan_threshold(assignment, variable);
    default:
      return plan_vsans(assignment, variable);
  }
}

int Change::plan_session(const Assignment& assignment, size_t variable) {
  const uint32_t session = session_of(assignment);
  const uint32_t number = assignment.value.number;
  if (assignment.column == kSessionRowStatus) return plan_session_row(session, number, variable);
  span_snmp_session_entry_t row = {};
  if (const int error = find_session(session, row); error != SNMP_ERR_NOERROR) return error;
  const bool destination = assignment.column == kSessionDestination;
  if (number == (destination ? row.destination : row.admin_status)) return SNMP_ERR_NOERROR;
  return take(destination ? set_destination(session, row.destination, number)
                          : set_admin_status(session, row.admin_status, number),
              variable);
}

int Change::plan_session_row(uint32_t session, uint32_t row_status, size_t variable) {
  span_snmp_session_entry_t row = {};
  const Found found = read_session(session, row);
  if (found == Found::kFailed) return SNMP_ERR_RESOURCEUNAVAILABLE;
  const bool exists = found == Found::kYes;
  if (!has_to_act(row_status, exists) || row_error(row_status, exists) != SNMP_ERR_NOERROR) {
    return row_error(row_status, exists);
  }
  return take(row_status == kDestroy ? destroy_session(session) : create_session(session), variable);
}

int Change::plan_source(const Assignment& assignment, size_t variable) {
  const Source source = *source_of(assignment.index);
  const uint32_t row_status = assignment.value.number;
  const Found found = read_source(source);
  if (found == Found::kFailed) return SNMP_ERR_RESOURCEUNAVAILABLE;
  const bool exists = found == Found::kYes;
  if (!has_to_act(row_status, exists) || row_error(row_status, exists) != SNMP_ERR_NOERROR) {
    return row_error(row_status, exists);
  }
  if (row_status == kDestroy) return take(remove_source(source), variable);
  span_snmp_session_entry_t row = {};
  const int error = find_session(source.session, row);
  return error != SNMP_ERR_NOERROR ? error : take(add_source(source), variable);
}

int Change::plan_vsans(const Assignment& assignment, size_t variable) {
  const uint32_t session = session_of(assignment);
  const auto [at, is_new] = vsans_.try_emplace({assignment.table, session}, VsanPlan{{}, {}, variable});
  VsanPlan& plan = at->second;
  if (is_new) {
    span_snmp_session_entry_t row = {};
    if (const int error = find_session(session, row); error != SNMP_ERR_NOERROR) return error;
    const bool fresh = created_.contains(session);
    const Found found = fresh ? Found::kYes : read_vsans(assignment.table, session, plan.before);
    if (found != Found::kYes) return SNMP_ERR_RESOURCEUNAVAILABLE;
    plan.vsans = plan.before;
  }
  const auto quarter = plan.vsans.begin() + static_cast<ptrdiff_t>((assignment.column - 1) * kQuarter);
  std::fill_n(quarter, kQuarter, uint8_t{0});
  std::ranges::copy(assignment.value.octets, quarter);
  return SNMP_ERR_NOERROR;
}

int Change::plan_threshold(const Assignment& assignment, size_t variable) {
  uint32_t before = 0;
  if (read_threshold(before) != Found::kYes) return SNMP_ERR_RESOURCEUNAVAILABLE;
  return take(set_threshold(before, assignment.value.number), variable);
}

// As it is, or as it will have been created.
int Change::find_session(uint32_t session, span_snmp_session_entry_t& row) const {
  if (created_.contains(session)) {
    row = {};
    row.session = session;
    row.admin_status = kNotSuspended;
    return SNMP_ERR_NOERROR;
  }
  const Found found = read_session(session, row);
  if (found == Found::kFailed) return SNMP_ERR_RESOURCEUNAVAILABLE;
  return found == Found::kYes ? SNMP_ERR_NOERROR : SNMP_ERR_INCONSISTENTNAME;
}

// Behind the steps of its rank that are there.
int Change::take(std::optional<Step> step, size_t variable) {
  if (!step) return SNMP_ERR_RESOURCEUNAVAILABLE;
  step->variable = variable;
  const auto place = std::ranges::upper_bound(steps_, step->rank, {}, &Step::rank);
  steps_.insert(place, *std::move(step));
  return SNMP_ERR_NOERROR;
}

// ---- Doing ----------------------------------------------------------------------------------------------------------

Change::Outcome Change::apply() {
  for (const Step& step : steps_) {
    ++begun_;
    if (const uint32_t status = step.apply(); status != SPAN_OK) {
      return Failure{step.variable, set_error(status, step.at)};
    }
  }
  return std::nullopt;
}

// A step that failed may have done a part of its work.
bool Change::undo() {
  bool whole = true;
  while (begun_ > 0) whole = steps_[--begun_].undo() == SPAN_OK && whole;
  return whole;
}

}  // namespace agent
