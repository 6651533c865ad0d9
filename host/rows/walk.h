// A walk through an SNMP table, row by row, with get-next.
#ifndef HOST_ROWS_WALK_H
#define HOST_ROWS_WALK_H

#include <cstdint>

namespace rows {

enum class End {
  kOfTable,
  kStuck,  // the next row was not behind the one before
};

// `next` fills a Row with the first one behind the index, 0 when there is one; `index_of` tells a row's place and
// `show` takes it. Ends whatever `next` answers: indexes only grow.
template <class Row, class Next, class IndexOf, class Show>
End walk(Next next, IndexOf index_of, Show show) {
  Row row{};
  for (auto index = index_of(row); next(index, row) == 0; index = index_of(row)) {
    if (!(index < index_of(row))) return End::kStuck;
    show(row);
  }
  return End::kOfTable;
}

}  // namespace rows

#endif
