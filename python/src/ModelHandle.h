#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "ORQExcSections.h"
#include "ORQSimDatabase.h"
#include "ORQSimMapping.h"
#include "ORQSimTransaction.h"
#include "Support.h"

namespace orqmodel {

enum class Kind : int { Node = 0, Element = 1 };

/// An open model, and what was read of it. Lives on the library's side: REQUIRES, of every operation,
/// to be called within InLibrary. All but Close throw Usage when the model is closed.
class ModelHandle {
  public:
    explicit ModelHandle(ORQSimDatabase database) : m_database(std::move(database)) {}

    const ORQSimDatabase& Database() const;
    ORQObjDocument Document() const { return ORQObjDocument(Database()); }
    const ORQExcModel& Model();
    const ORQExcResults& Results();
    const ORQExcSections& Sections();
    /// The labels by ordinal.
    const std::vector<int>& Labels(Kind kind);
    /// Throws KeyError when no node or element has the label.
    int OrdinalOf(Kind kind, int label);
    int CountOf(Kind kind) {
        return kind == Kind::Node ? Model().NumNodes() : Model().NumElements();
    }
    ORQSimCSet AllOf(Kind kind) {
        return kind == Kind::Node ? Model().Nodes() : Model().Elements();
    }
    /// A set of ordinals in their order. Throws IndexError and ValueError as CheckOrdinals does.
    ORQSimCSet SetOf(Kind kind, std::span<const int> ordinals);
    /// The layers of a section; read once.
    std::shared_ptr<const ORQExcSections::Stack> StackOf(int section);
    /// The place of the section that governs an element, -1 for none.
    int SectionOf(int element);

    /// While a call may call back: what would take the model from under it throws Usage.
    class InUse {
      public:
        explicit InUse(ModelHandle& handle) : m_handle(handle) { ++m_handle.m_nUsers; }
        ~InUse() { --m_handle.m_nUsers; }
        InUse(const InUse&) = delete;
        InUse& operator=(const InUse&) = delete;

      private:
        ModelHandle& m_handle;
    };

    void Begin();
    void Commit();
    void Undo();
    bool IsWriting() const { return m_transaction != nullptr; }
    void RequireTransaction() const;

    /// What was read is read again when it is asked for; the epoch counts how often that was.
    void Forget();
    std::int64_t Epoch() const { return m_epoch; }
    /// Views keep their state: when there are any, the database is opened anew, or stays open for them.
    bool Refresh();
    void Close();
    long NumViews() const { return m_views.use_count() - 1; }
    /// An array that is the file itself, where there is one (see ORQSimMapping).
    struct View {
        ORQSimMapping mapping;
        std::shared_ptr<int> counted;
    };
    View ViewOf(const ORQSimDistribution& distribution, const std::vector<ORQSimCSet>& sets) const {
        ORQSimMapping mapping = ORQSimMapping::Of(distribution, sets);
        return mapping.IsNull() ? View() : View{std::move(mapping), m_views};
    }
    /// May be called without the library's lock, like the epoch.
    bool IsClosed() const { return m_isClosed; }

  private:
    struct LabelTable {
        std::vector<int> byOrdinal;
        std::vector<int> ordinals;  // by ascending label; empty where labels ascend
        bool isRead = false;
    };
    LabelTable& ReadLabels(Kind kind);
    void RequireIdle() const;

    ORQSimDatabase m_database;
    std::shared_ptr<int> m_views = std::make_shared<int>();  // shared by all that are alive
    std::atomic<bool> m_isClosed = false;
    std::atomic<std::int64_t> m_epoch = 0;
    int m_nUsers = 0;
    std::unique_ptr<ORQSimTransaction> m_transaction;
    std::unique_ptr<ORQExcModel> m_model;
    std::unique_ptr<ORQExcResults> m_results;
    std::unique_ptr<ORQExcSections> m_sections;
    std::vector<std::shared_ptr<const ORQExcSections::Stack>> m_stacks;
    std::vector<int> m_sectionOf;  // by element, once it was asked for
    LabelTable m_labels[2];
};

/// What Python holds: takes the library's lock to end as well.
struct HandleDeleter {
    void operator()(ModelHandle* handle) const {
        InLibrary([&] { delete handle; });
    }
};
using HandlePtr = std::unique_ptr<ModelHandle, HandleDeleter>;
using HandleClass = py::class_<ModelHandle, HandlePtr>;

/// A read-only array that is a view, which ends with it. REQUIRES: a mapping that is not null.
template <class Value>
py::array_t<Value> ToArray(ModelHandle::View view, std::vector<py::ssize_t> shape) {
    const auto* const data = static_cast<const Value*>(view.mapping.Data());
    const py::capsule owner(new ModelHandle::View(std::move(view)), [](void* held) {
        InLibrary([&] { delete static_cast<ModelHandle::View*>(held); });
    });
    py::array_t<Value> array(std::move(shape), data, owner);
    array.attr("setflags")(py::arg("write") = false);
    return array;
}

/// An array of a view, or of what is read where there is none; both are made in the library.
template <class Value>
struct Values {
    ModelHandle::View view;
    std::optional<Buffer<Value>> read = {};
    std::span<const Value> Span() const {
        return read ? read->Span()
                    : std::span(static_cast<const Value*>(view.mapping.Data()),
                                static_cast<std::size_t>(view.mapping.Size()) / sizeof(Value));
    }
};

template <class Value>
py::array_t<Value> ToArray(Values<Value> values, std::vector<py::ssize_t> shape) {
    return values.read ? ToArray(std::move(*values.read), std::move(shape))
                       : ToArray<Value>(std::move(values.view), std::move(shape));
}

// Each function adds what it is about to the class, or to the module.
void DefineModel(py::module_& module, HandleClass& handle);
void DefineMesh(HandleClass& handle);
void DefineSets(HandleClass& handle);
void DefineSections(HandleClass& handle);
void DefineFields(HandleClass& handle);
void DefineWriting(py::module_& module, HandleClass& handle);
void DefineCheck(HandleClass& handle);
void DefineConvert(py::module_& module);
void DefineArrow(py::module_& module);

}  // namespace orqmodel
