// The members of a component set: an immutable sequence of ints without duplicates.
//
// Made for sets of anything between one member and tens of millions, mostly one run of consecutive
// numbers or a few, built once, and then intersected, united and walked often. Four forms:
//
//   Contiguous  first, first + 1, ... (count of them)
//   Strided     count blocks of `block` consecutive numbers, whose first numbers lie `stride` apart
//   Sorted      ascending, written out
//   Ordered     in the given order, written out
//
// All but Ordered are ascending. A set has the first form that it fits, however it came about:
// equal sets are equal in form, and the algebra of runs costs the same for ten members as for ten
// million.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace orq::database {

class ComponentSet;
using ComponentSetPtr = std::shared_ptr<const ComponentSet>;

class ComponentSet {
  public:
    enum class Form : int { Contiguous = 0, Strided = 1, Sorted = 2, Ordered = 3 };  // stored

    static ComponentSetPtr Empty();
    static ComponentSetPtr Contiguous(int first, int count);
    static ComponentSetPtr Strided(int first, int count, int stride, int block);
    // Ascending members without duplicates.
    static ComponentSetPtr FromAscending(std::vector<int> members);
    // Any members; sorts and removes duplicates where that is needed.
    static ComponentSetPtr FromMembers(std::vector<int> members);
    // Keeps the order. Throws when a member occurs twice.
    static ComponentSetPtr FromOrdered(std::vector<int> members);

    Form GetForm() const { return m_form; }
    int Size() const { return m_size; }
    bool IsEmpty() const { return m_size == 0; }
    bool IsAscending() const { return m_form != Form::Ordered; }

    // Lowest and highest member; only of a set that is not empty.
    int Lowest() const;
    int Highest() const;

    int At(int location) const {
        switch (m_form) {
            case Form::Contiguous:
                return m_first + location;
            case Form::Strided:
                return m_first + location / m_block * m_stride + location % m_block;
            default:
                return m_members[static_cast<std::size_t>(location)];
        }
    }
    // The location of a member, -1 when it is none.
    int Seek(int member) const;

    // The same members in ascending order; `self` is the pointer to this set.
    static ComponentSetPtr Ascending(const ComponentSetPtr& self);
    // Writes Size() ints, in the set's own order.
    void CopyMembers(int* out) const;
    // The members of the forms that are written out; empty for the others.
    std::span<const int> Written() const { return m_members; }

    int First() const { return m_first; }
    int Count() const { return m_form == Form::Strided ? m_size / m_block : m_size; }
    int Stride() const { return m_stride; }
    int Block() const { return m_block; }

    bool SameSequence(const ComponentSet& other) const;
    std::uint64_t Hash() const;  // equal for equal sequences; stored, do not change

    // Results are ascending.
    static ComponentSetPtr Union(const ComponentSetPtr& a, const ComponentSetPtr& b);
    static ComponentSetPtr Intersection(const ComponentSetPtr& a, const ComponentSetPtr& b);
    static ComponentSetPtr Difference(const ComponentSetPtr& a, const ComponentSetPtr& b);

    // Calls f(location, firstMember, count) for maximal runs of consecutive members at consecutive
    // locations, in order of location.
    template <class F>
    void ForEachRun(F&& f) const {
        if (m_form == Form::Contiguous) {
            if (m_size > 0) {
                f(0, m_first, m_size);
            }
        } else if (m_form == Form::Strided) {
            for (int i = 0, count = Count(); i < count; ++i) {
                f(i * m_block, m_first + i * m_stride, m_block);
            }
        } else {
            const int* members = m_members.data();
            for (int begin = 0; begin < m_size;) {
                int end = begin + 1;
                while (end < m_size && members[end] == std::int64_t{members[end - 1]} + 1) {
                    ++end;
                }
                f(begin, members[begin], end - begin);
                begin = end;
            }
        }
    }

    // Calls f(locationInA, locationInB, count) for runs of common members, in order of the location
    // in `a`. Where one of the two is contiguous the cost follows the runs of the other, else the
    // members of `a` up to a logarithm.
    template <class F>
    static void ForEachCommonRun(const ComponentSet& a, const ComponentSet& b, F&& f) {
        if (&a == &b) {
            if (!a.IsEmpty()) {
                f(0, 0, a.Size());
            }
            return;
        }
        if (b.m_form == Form::Contiguous) {
            a.ForEachRunWithin(b, f);
            return;
        }
        if (a.m_form == Form::Contiguous && b.IsAscending()) {
            b.ForEachRunWithin(a, [&](int inB, int inA, int count) { f(inA, inB, count); });
            return;
        }
        // A run of `a` meets `b` member by member; neighbours in both are put together again.
        int runA = 0;
        int runB = 0;
        int count = 0;
        Seeker seeker(b);
        a.ForEachRun([&](int location, int first, int n) {
            for (int i = 0; i < n; ++i) {
                const int at = seeker.Seek(first + i);
                if (at < 0) {
                    continue;
                }
                if (count > 0 && location + i == runA + count && at == runB + count) {
                    ++count;
                    continue;
                }
                if (count > 0) {
                    f(runA, runB, count);
                }
                runA = location + i;
                runB = at;
                count = 1;
            }
        });
        if (count > 0) {
            f(runA, runB, count);
        }
    }

    ComponentSet(Form form, int first, int count, int stride, int block, std::vector<int> members);

  private:
    // Seeks members one after the other, each near the one before.
    class Seeker {
      public:
        explicit Seeker(const ComponentSet& set) : m_set(set) {}
        int Seek(int member);

      private:
        const ComponentSet& m_set;
        std::size_t m_hint = 0;
    };

    // Calls f(location, locationInWindow, count) for runs of members that a contiguous set has too.
    template <class F>
    void ForEachRunWithin(const ComponentSet& window, F&& f) const {
        const std::int64_t low = window.m_first;
        const std::int64_t high = low + window.m_size;
        ForEachRun([&](int location, int first, int count) {
            const std::int64_t from = std::max<std::int64_t>(first, low);
            const std::int64_t to = std::min(std::int64_t{first} + count, high);
            if (from < to) {
                f(static_cast<int>(location + (from - first)), static_cast<int>(from - low),
                  static_cast<int>(to - from));
            }
        });
    }

    void BuildIndex() const;

    Form m_form;
    int m_first;
    int m_stride;
    int m_block;
    int m_size;
    std::vector<int> m_members;

    // For seeking in an ordered set: locations by member from the lowest on where the members lie
    // close together, else by rank; made when first needed.
    mutable std::vector<int> m_locations;
    mutable int m_lowest = 0;
    mutable bool m_isDense = false;
};

}  // namespace orq::database
