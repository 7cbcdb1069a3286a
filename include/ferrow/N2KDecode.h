// NMEA 2000 messages as fields, from the open PGN database (canboat.json):
// decoded the way the canboat tools print them, and built back from field
// values. The database is loaded once per process and shared by every
// emulator and panel; every call may come from any thread.
#pragma once

#include <ferrow/FerrowApi.h>
#include <ferrow/N2KMsg.h>

// Loads the database at `path`; a null or empty `path` searches the default
// places: the file the environment variable FERROW_PGN_DATABASE names, then
// share/ferrow/canboat.json beside the installed library, then the copy the
// build installed. 0, or -1, keeping the database loaded before, with a
// message saying why (a missing file, malformed JSON, not a PGN database).
FERROW_API int FerrowLoadPgnDatabase(const char* path);

// One JSON object, no newline, with the keys and values canboatjs's
// analyzerjs prints for the same message: pgn, prio, src, dst, timestamp,
// description, id and fields (field names as keys, lookups by name). A
// message the database does not know gives its PGN, addresses and its bytes.
// Its length, or -1 for a null argument, a buffer too small for the whole
// object and its terminating zero, or no database loaded.
FERROW_API int FerrowDecodeN2K(const N2KMsg* msg, char* json, int size);

// Builds `msg` from an object of the shape FerrowDecodeN2K prints: pgn,
// prio, dst (src when given) and fields; lookups may be given by name or by
// value, a field left out is sent as "not available" (or 0 where it has no
// such value). The PGN's framing decides `transport`. 0, or -1 for a null
// argument, malformed JSON, a PGN or field the database does not know, or a
// value out of the field's range; `msg` is then left untouched.
FERROW_API int FerrowEncodeN2K(const char* json, N2KMsg* msg);

// The database's definition of `pgn` (its first, for a PGN with several) as
// one JSON object: pgn, id, description, and fields, each with name, id,
// unit, type, bits, resolution, signed, min and max where they apply, and the
// lookup's names and values. With pgn 0, a JSON array of every PGN it holds:
// {"pgn", "id", "description"}, and "definitions" (their count) where it
// holds several for the number, the first of which is described. Length, or
// -1 as FerrowDecodeN2K gives it, and for a PGN the database does not hold.
FERROW_API int FerrowDescribePgn(unsigned long pgn, char* json, int size);
