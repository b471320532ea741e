// The tables of a PostgreSQL store: what they are made of, and whether those that are there are these.
#pragma once

#include <span>
#include <string>

#include "PostgresLink.h"

namespace orq::storage {

/// Makes the tables and columns that are not there, in the transaction that is open.
void SendToMakeTables(PostgresLink& link);

/// Asks what the tables are. Its answers are the last ones of those that were sent.
void SendTableQueries(PostgresLink& link);
/// Throws Foreign where a column or a key is not as it should be, and names each that differs.
void CheckTables(std::span<const Answer> answers, const std::string& shown);

}  // namespace orq::storage
