// The kernel module's binary records of pieces, functions and function lists,
// read straight from memory.
//
// The cache file holds these records as the module's own Serialize writes
// them.  Reading them back through QDataStream costs a device call per field,
// which made loading a cache barely faster than parsing the database, so the
// loader decodes the same layout from the file's bytes itself.  The layout is
// the module's; these decoders follow it field for field, including the older
// piece layout without the sixteen-slot extension.
//
// What the layout alone cannot guarantee is checked here: counts against the
// bytes left, a function's record index against the record array, and its
// piece indexes against the piece array.  Everything else a loaded list may
// follow is checked by the cache loader once all parts are read.
#ifndef DATABASE_KERNELRECORDS_H
#define DATABASE_KERNELRECORDS_H

class ByteReader;
class CVxDataMgr;
class TThermFktMgr;
class TThermTPolynom;

//! One piece record into p (a fresh piece: slots 5..15 stay as constructed
//! when the record has the older layout).
void readPieceRecord(ByteReader& in, TThermTPolynom& p);

//! A function-list record, appending its functions to list (owned by it),
//! each resolved against dm's records and pieces.  Stops at the first
//! damaged function; the functions read so far stay in the list.
void readFunctionListRecord(ByteReader& in, TThermFktMgr& list, CVxDataMgr& dm);

#endif
