// Tables of a MIB and what get and get-next find in them. No row is kept: each is asked for when it is wanted.
#ifndef HOST_AGENT_SUBTREE_H
#define HOST_AGENT_SUBTREE_H

#include <span>
#include <vector>

#include "host/agent/reply.h"

namespace agent {

enum class Found {
  kYes,
  kNo,      // there is none, or none behind
  kFailed,  // nobody knows: who has the rows could not be asked
};

using Row = std::vector<Value>;  // by column, from the first readable one on

// A table, or the scalars of a group: a table with one row, whose index is 0.
struct Table {
  Oid place;  // of its entry, below the subtree; of a group of scalars: its own
  oid first_column;
  oid last_column;

  // The row at an index, whatever number of arcs that has.
  Found (*get)(const Oid& index, Row& row);

  // The first row behind an index, the first one of all behind an empty index. `index` becomes that of the row.
  Found (*next)(Oid& index, Row& row);
};

class Subtree {
 public:
  // `tables` ascend by their places.
  Subtree(Oid root, std::span<const Table> tables) : root_(std::move(root)), tables_(tables) {}

  const Oid& root() const { return root_; }
  std::span<const Table> tables() const { return tables_; }

  // kNo is a missing instance where the object exists, else a missing object.
  Found get(const Oid& name, Value& value, bool& object_exists) const;

  // `name` becomes the name of the value. What a table shows is behind the asked name, or has failed.
  Found next(Oid& name, Value& value) const;

 private:
  Found next_in(const Table& table, Oid& name, Value& value) const;

  Oid root_;
  std::span<const Table> tables_;
};

// Answers one variable of a get or a get-next. A failure is a genErr.
void answer_get(const Subtree& subtree, netsnmp_agent_request_info& info, netsnmp_request_info& request);
void answer_next(const Subtree& subtree, netsnmp_agent_request_info& info, netsnmp_request_info& request);

// Is `name` below `root`, or `root` itself? And the arcs below it.
bool is_below(const Oid& root, const Oid& name);
Oid arcs_below(const Oid& root, const Oid& name);

}  // namespace agent

#endif
