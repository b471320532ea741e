// Changes that have to be whole. One that an exception leaves half done, in the rows or in what is
// kept of them in memory, stays counted: its transaction can only be undone.
#pragma once

namespace orq::storage {

class Change {
  public:
    explicit Change(int& nUnfinished) : m_nUnfinished(nUnfinished) { ++m_nUnfinished; }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

    // The last act of the change.
    void Finish() { --m_nUnfinished; }

  private:
    int& m_nUnfinished;
};

}  // namespace orq::storage
