#pragma once
// The tables of the accounts in PostgreSQL, step by step as versions of the program have brought them.

#include "service/relay/door/database_pool.h"

namespace zephyl {

/// The steps that this version knows.
int NewestSchema();

/// Brings the tables to that step, one relay at a time, all of it or nothing. Throws AccountError when they
/// are of a later version, or the database is not fit for them.
void BringSchemaTo(DatabasePool::Lease& lease, int step);

}  // namespace zephyl
