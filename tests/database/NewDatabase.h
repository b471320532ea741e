// Databases of the tests' own: in memory, or models in the store that the environment variable
// ORQ_TEST_STORE names, on which tests of what a database does then run; see tests/remote.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "ORQSimDatabase.h"

// The URL of a new model in that store; empty where there is none.
inline std::string NewModelInStore() {
    const char* store = std::getenv("ORQ_TEST_STORE");
    static int number = 0;
    return store == nullptr ? ""
                            : std::string(store) + "&model=test-" + std::to_string(getpid()) + "-" +
                                  std::to_string(++number);
}

inline ORQSimDatabase NewDatabase() {
    const std::string url = NewModelInStore();
    return url.empty() ? ORQSimDatabase::CreateInMemory() : ORQSimDatabase::Create(url);
}
