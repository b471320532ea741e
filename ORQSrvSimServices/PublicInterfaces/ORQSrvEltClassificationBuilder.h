#pragma once

#include "ORQBasExport.h"
#include "ORQSimPosition.h"

/// The property by which elements are divided into classes.
enum class ORQSrvEltClassificationType : int {
    Shape = 0  ///< by element spec; the only one there is
};

/// A division of elements into classes.
class ORQ_EXPORT ORQSrvEltClassBuilderImpl {
  public:
    virtual ~ORQSrvEltClassBuilderImpl() = default;
    virtual ORQSimPosition BuildEltClassification(ORQSimPosition position) = 0;
};

/// One class for each element spec in use.
class ORQ_EXPORT ORQSrvEltClassBuilderImplShape : public ORQSrvEltClassBuilderImpl {
  public:
    ORQSimPosition BuildEltClassification(ORQSimPosition position) override;
};

/// Divides the elements of a mesh into classes from the assignment of element specs: a class for
/// each spec, whose members are all elements of that spec. Example, the assignment has compartments
/// (spec 2: elements 0..9), (spec 0: elements 10..14), (spec 2: elements 15..19):
///
///   membership, by spec:  0: (class 1, {10..14})   1: empty   2: (class 0, {0..9, 15..19})
///
/// A failed check is reported by its expression and ends the process with exit status 1: an
/// assignment that does not pair one spec with elements, a spec that is no member of its
/// collection, and any type but Shape.
class ORQ_EXPORT ORQSrvEltClassificationBuilder {
  public:
    /// `position` is the focus of the document.
    explicit ORQSrvEltClassificationBuilder(ORQSimPosition position) : m_position(position) {}

    /// Builds the classification, records it and its collection of classes on the mesh in place of
    /// earlier ones, and returns its record; null, with nothing changed, when the mesh has no
    /// assignment of specs. REQUIRES: an open transaction.
    ORQSimPosition BuildEltClassification(ORQSrvEltClassificationType type) const;

    /// Refers each class of the mesh's classifications to the sections assigned to any of its
    /// elements; again changes nothing. Assignments without a section take no part. To be called
    /// after sections were assigned; a classification that is built later does so itself. Looks at
    /// each element at most a few times, however many assignments there are. REQUIRES: an open
    /// transaction.
    void LinkSections() const;

  private:
    ORQSimPosition m_position;
};
