// A scripted life of a small model: transactions of every kind, the same whenever they are played.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ORQSimDatabase.h"

// Each commits one transaction.
using History = std::vector<std::function<void(const ORQSimDatabase&)>>;
const History& ModelHistory();
// A new database in which all of it has been played.
ORQSimDatabase MakeModelOfHistory(const std::string& path);

// The rows that a database's catalogue answers, one a line. REQUIRES: the database is open in this
// process, or was: pages are compared with their checksums.
std::string AskCatalogue(const std::string& database, const std::string& sql);

// Changes a closed database's catalogue through SQLite and the program's own VFS, so that pages,
// indices and checksums are right. REQUIRES: as AskCatalogue. A test that changes no row fails.
void ChangeCatalogue(const std::string& database, const std::string& sql);

// Everything that a database has committed, as one text that is equal for equal contents wherever
// they lie in the files; bulk data is told by its checksums. REQUIRES: as AskCatalogue.
std::string ContentsOf(const std::string& database);
