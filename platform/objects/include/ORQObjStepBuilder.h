#pragma once

#include <span>
#include <vector>

#include "ORQBasExport.h"
#include "ORQObjDocument.h"
#include "ORQObjMeshedField.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// What a field is, before it has values.
struct ORQObjFieldDefinition {
    struct Component {
        int code;  ///< ads_ComponentSymbolsEnm
        ORQString label;
    };
    ORQString name;
    ORQSimPosition type;  ///< of StandardFieldType or UserFieldType
    int gridType;         ///< where values live, for example ORQSimSchema::Field_Nodal
    /// The collection of nodes or elements over which it runs; null for the whole model.
    ORQSimPosition members;
    std::vector<Component> components;  ///< at least one, each code once
    /// Whether elements have values in section points of layers.
    bool hasLayers = false;
    ORQObjAxes axes = ORQObjAxes::Unknown;
    ORQString arrayNames = {};  ///< as in ORQObjMeshedField
};

/// Adds steps with their times, results and output requests to a model that an ORQObjModelBuilder
/// began: makes the records where readers look for them. Values are written by ORQObjMeshedField.
///
/// REQUIRES, of every operation: a transaction that the caller opened on the database. A name that
/// is empty or taken throws ORQBasFailure (Usage).
///
///   const ORQObjStepBuilder builder(document);
///   const ORQSimPosition step = builder.AddStep("Heating", ORQSimSchema::Step_General);
///   const ORQObjMeshedField field = builder.AddFieldResult(
///       step, {"NT", builder.StandardFieldType("NT"), ORQSimSchema::Field_Nodal, nodes,
///              {{ads_ComponentNone, "NT"}}});
///   field.Write(builder.AddTimes(step, {&time, 1}), allNodes, temperatures);
class ORQ_EXPORT ORQObjStepBuilder {
  public:
    explicit ORQObjStepBuilder(const ORQObjDocument& document) : m_document(document) {}

    /// A step of a type (Step_General, Step_Lin_Buckle, ...), the last of the sequence and without
    /// times.
    ORQSimPosition AddStep(const ORQString& name, int type) const;
    /// Adds times behind those that the step has, and returns the new ones.
    ORQSimCSetID AddTimes(const ORQSimPosition& step, std::span<const double> values) const;

    /// The modes of a step (Step_Lin_Buckle, Step_Lin_Frequency), an eigenvalue for each: load
    /// factors of a buckling step, squared angular frequencies of the other. REQUIRES, of this and
    /// the next two: the step has none yet.
    ORQSimCSetID SetModes(const ORQSimPosition& step, std::span<const double> eigenvalues) const;
    /// Frequencies of a step in cycles for each unit of time, and arc lengths of a
    /// Step_Gen_StaticRiks as parts of the load.
    ORQSimCSetID SetFrequencies(const ORQSimPosition& step, std::span<const double> values) const;
    ORQSimCSetID SetArcLengths(const ORQSimPosition& step, std::span<const double> values) const;
    /// How a general step advances: its first increment and its length, in the unit of time.
    void SetTimeIncrementation(const ORQSimPosition& step, double firstIncrement,
                               double length) const;

    /// The type of fields of an identifier of the table of output variables, made when there is
    /// none.
    ORQSimPosition StandardFieldType(const ORQString& identifier) const;
    /// The type of fields that the model defines under a name, made when there is none.
    ORQSimPosition UserFieldType(const ORQString& name) const;

    /// Whether a field of a grid type has several points in each element (Field_IntegrationPoint,
    /// Field_ElementNodal, Field_ElementFace, Field_WholeElementFace), and so takes no values
    /// without them.
    static bool HasPoints(int gridType);

    /// An empty field of a step. How many points and layers elements have is said as their values
    /// are written. Throws Usage for a type that is no field type, and for points or layers in
    /// what is no element.
    ORQObjMeshedField AddFieldResult(const ORQSimPosition& step,
                                     const ORQObjFieldDefinition& definition) const;
    ORQObjMeshedField AddHistoryField(const ORQSimPosition& step,
                                      const ORQObjFieldDefinition& definition) const;

    /// What the user wants as output, over regions with members.
    ORQSimPosition AddUserOutputRequest(const ORQString& name,
                                        std::span<const ORQSimPosition> regions) const;
    /// What that became in one step, and the fields that it fills there.
    ORQSimPosition AddOutputRequest(const ORQSimPosition& userRequest,
                                    std::span<const ORQObjMeshedField> fields) const;

  private:
    ORQObjMeshedField MakeField(const ORQSimPosition& step,
                                const ORQObjFieldDefinition& definition) const;

    ORQObjDocument m_document;
};
