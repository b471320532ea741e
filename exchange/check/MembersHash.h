#pragma once

#include <cstdint>

namespace orq::exchange {

/// A hash of members that is the same in every order of them.
class MembersHash {
  public:
    void Add(int member) { m_value += Of(member); }
    std::uint64_t Value() const { return m_value; }

    /// The hash of one member. The hash of several members is the sum of theirs.
    static std::uint64_t Of(int member) { return Spread(static_cast<std::uint64_t>(member) + 1); }

  private:
    /// The finaliser of MurmurHash3, which spreads every bit: sums of it tell sets apart. Its first
    /// step would do nothing to numbers of 32 bits.
    static std::uint64_t Spread(std::uint64_t value) {
        value *= 0xff51afd7ed558ccdU;
        value ^= value >> 33U;
        value *= 0xc4ceb9fe1a85ec53U;
        return value ^ (value >> 33U);
    }

    std::uint64_t m_value = 0;
};

}  // namespace orq::exchange
