// Parameters of one phase list that define the same parameter twice (or more
// often).  The evaluation sums every entry of a list, so each such parameter
// counts as often as it is defined; the reader reports them.
#ifndef TDB_TDBDUPLICATES_H
#define TDB_TDBDUPLICATES_H

#include <vector>

class TThermFktMgr;
struct TThermFktData;

namespace tdb {

//! Same type, order, interaction level, do-set membership, species and
//! constituents per sublattice: the list's duplicate criterion plus the
//! species (mobility parameters of "&AG" and "&AL" are different ones).
bool sameParameter(const TThermFktData& a, const TThermFktData& b);

//! Positions in list of the parameters defined more than once, a group per
//! parameter, each group and the groups in list order.  Hash-grouped: linear
//! in the size of the list, however many copies a file holds.
std::vector<std::vector<int>> duplicateGroups(const TThermFktMgr& list);

}  // namespace tdb

#endif
