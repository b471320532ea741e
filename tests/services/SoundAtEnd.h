#pragma once

#include <gtest/gtest.h>

#include <string>

#include "ORQSimDatabase.h"

/// Whatever a test did, its database verifies clean at the end; a member that is declared last.
class SoundAtEnd {
  public:
    explicit SoundAtEnd(const ORQSimDatabase& database) : m_database(database) {}
    ~SoundAtEnd() {
        if (m_database.IsClosed()) {
            return;
        }
        for (const std::string& flaw : m_database.Verify()) {
            ADD_FAILURE() << flaw;
        }
    }
    SoundAtEnd(const SoundAtEnd&) = delete;
    SoundAtEnd& operator=(const SoundAtEnd&) = delete;

  private:
    const ORQSimDatabase& m_database;  // the test may open another one
};
