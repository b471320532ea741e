/// Records: numbered fields of an object.
#pragma once

#include "ORQBasExport.h"
#include "ORQSimIDs.h"
#include "ORQString.h"

class ORQSimPosition;

/// The fields of one object. A field has a number (from 0) and holds one value, of the kind that
/// was set last; an unset one reads as 0 or as the empty text. Ints, symbols and type IDs read as
/// each other, and an int reads as a double; any other reading of a field as what it is not throws
/// ORQBasFailure (Usage), which names object, field and kinds.
///
/// Reading through a null record returns 0 or empty, writing throws Usage.
class ORQ_EXPORT ORQSimDataRecord {
  public:
    ORQSimDataRecord() = default;
    explicit ORQSimDataRecord(const ORQSimDynamicID& id) : m_id(id) {}

    const ORQSimDynamicID& ID() const { return m_id; }
    ORQSimPosition Pos() const;
    bool IsNull() const { return m_id.IsNull(); }

    int GetInt(int field) const;
    void SetInt(int field, int value) const;
    double GetDouble(int field) const;
    /// The first `count` of the field's doubles; what it does not hold reads as 0.
    void GetDouble(int field, int count, double* values) const;
    void SetDouble(int field, double value) const;
    void SetDouble(int field, int count, const double* values) const;
    void GetString(int field, ORQString& value) const;
    ORQString ReturnString(int field) const;
    void SetString(int field, const ORQString& value) const;
    int GetSymb(int field) const;
    void SetSymb(int field, int value) const;
    ORQSimTypeID GetTypeID(int field) const;
    void SetTypeID(int field, ORQSimTypeID value) const;

  private:
    ORQSimDynamicID m_id;
};
