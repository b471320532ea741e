// A scripted life of a small model: transactions of every kind, the same whenever they are played.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ORQSimDatabase.h"

// Each commits one transaction.
using History = std::vector<std::function<void(const ORQSimDatabase&)>>;
const History& ModelHistory();

// Everything that a database has committed, as one text that is equal for equal contents wherever
// they lie in the files. REQUIRES: the database is open in this process, and verified: bulk data is
// told by its checksums.
std::string ContentsOf(const std::string& database);
