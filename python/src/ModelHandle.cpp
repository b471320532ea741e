#include "ModelHandle.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQObjDiagnostics.h"
#include "ORQSimCollection.h"

namespace orqmodel {

const ORQSimDatabase& ModelHandle::Database() const {
    if (IsClosed()) {
        ORQBasThrowUsage("the model is closed");
    }
    return m_database;
}

const ORQExcModel& ModelHandle::Model() {
    Database();
    if (!m_model) {
        m_model = std::make_unique<ORQExcModel>(Document());
    }
    return *m_model;
}

const ORQExcResults& ModelHandle::Results() {
    Database();
    if (!m_results) {
        m_results = std::make_unique<ORQExcResults>(Document());
    }
    return *m_results;
}

const ORQExcSections& ModelHandle::Sections() {
    Database();
    if (!m_sections) {
        m_sections = std::make_unique<ORQExcSections>(Document());
        m_stacks.resize(m_sections->Sections().size());
    }
    return *m_sections;
}

std::shared_ptr<const ORQExcSections::Stack> ModelHandle::StackOf(int section) {
    const ORQExcSections& sections = Sections();
    CheckIndex("section", section, static_cast<std::int64_t>(m_stacks.size()));
    const auto place = static_cast<std::size_t>(section);
    if (!m_stacks[place]) {
        m_stacks[place] =
            std::make_shared<ORQExcSections::Stack>(sections.Read(sections.Sections()[place]));
    }
    return m_stacks[place];
}

int ModelHandle::SectionOf(int element) {
    const auto& sections = Sections().Sections();
    if (m_sectionOf.empty()) {  // a table, since scripts go through all elements one by one
        m_sectionOf.assign(static_cast<std::size_t>(Model().NumElements()), -1);
        for (std::size_t place = 0; place < sections.size(); ++place) {
            for (ORQSimCSetIterator i(sections[place].elements); !i.IsDone(); i.Next()) {
                m_sectionOf[static_cast<std::size_t>(i.CurrentValue())] = static_cast<int>(place);
            }
        }
    }
    return m_sectionOf[static_cast<std::size_t>(element)];
}

ModelHandle::LabelTable& ModelHandle::ReadLabels(Kind kind) {
    Database();
    LabelTable& table = m_labels[kind == Kind::Node ? 0 : 1];
    if (!table.isRead) {
        table.byOrdinal = kind == Kind::Node ? Model().NodeLabels() : Model().ElementLabels();
        const auto& labels = table.byOrdinal;
        if (!std::ranges::is_sorted(labels)) {
            table.ordinals.resize(labels.size());
            std::iota(table.ordinals.begin(), table.ordinals.end(), 0);
            // Stable: a label that several instances have stands for the first of its members.
            std::ranges::stable_sort(table.ordinals, {}, [&](int ordinal) {
                return labels[static_cast<std::size_t>(ordinal)];
            });
        }
        table.isRead = true;
    }
    return table;
}

const std::vector<int>& ModelHandle::Labels(Kind kind) {
    return ReadLabels(kind).byOrdinal;
}

int ModelHandle::OrdinalOf(Kind kind, int label) {
    const LabelTable& table = ReadLabels(kind);
    const auto& labels = table.byOrdinal;
    int ordinal = -1;
    if (table.ordinals.empty()) {  // ascending labels, as most models have, need no table
        const auto found = std::ranges::lower_bound(labels, label);
        ordinal = found == labels.end() ? -1 : static_cast<int>(found - labels.begin());
    } else {
        const auto found = std::ranges::lower_bound(table.ordinals, label, {}, [&](int place) {
            return labels[static_cast<std::size_t>(place)];
        });
        ordinal = found == table.ordinals.end() ? -1 : *found;
    }
    if (ordinal < 0 || labels[static_cast<std::size_t>(ordinal)] != label || label < 1) {
        // Members without a label have 0 for it, which names none of them.
        throw py::key_error(std::string(kind == Kind::Node ? "no node" : "no element") +
                            " has the label " + std::to_string(label));
    }
    return ordinal;
}

ORQSimCSet ModelHandle::SetOf(Kind kind, std::span<const int> ordinals) {
    CheckOrdinals(kind == Kind::Node ? "node" : "element", ordinals, CountOf(kind));
    const ORQSimCollection collection(AllOf(kind).CollectionID());
    const int count = static_cast<int>(ordinals.size());
    return std::ranges::is_sorted(ordinals)
               ? collection.CreateVolatileCSet(ordinals.data(), count, true)
               : collection.CreateVolatileOrderedCSet(ordinals.data(), count);
}

void ModelHandle::RequireIdle() const {
    if (m_nUsers > 0) {
        ORQBasThrowUsage("the model is in use by the call that reports its progress");
    }
}

void ModelHandle::Begin() {
    RequireIdle();
    if (m_transaction) {
        ORQBasThrowUsage("a transaction is open already");
    }
    m_transaction = std::make_unique<ORQSimTransaction>(Database().ContextID());
}

void ModelHandle::RequireTransaction() const {
    Database();
    RequireIdle();
    if (!m_transaction) {
        ORQBasThrowUsage("writing needs a transaction: with model.transaction(): ...");
    }
}

void ModelHandle::Commit() {
    RequireTransaction();
    m_transaction->Commit();
    m_transaction.reset();
}

void ModelHandle::Undo() {
    RequireIdle();
    Forget();  // what was read may be of the transaction that is undone
    m_transaction.reset();
}

void ModelHandle::Forget() {
    m_model.reset();
    m_results.reset();
    m_sections.reset();
    m_stacks.clear();
    m_sectionOf.clear();
    for (LabelTable& table : m_labels) {
        table = {};
    }
    ++m_epoch;
}

bool ModelHandle::Refresh() {
    RequireIdle();
    bool isOther = false;
    // Views lie in the file as it was when they were made. The handle that holds that state is left to
    // them, and the new state gets a handle of its own.
    if (NumViews() > 0 && !m_database.IsWritable()) {
        const ORQSimDatabase now =
            ORQSimDatabase::Open(m_database.Path(), ORQSimDatabase::Mode::ReadOnly);
        isOther = now.Generation() != m_database.Generation();
        m_database = isOther ? now : m_database;
    } else {
        isOther = m_database.Refresh();
    }
    if (isOther) {
        Forget();
    }
    return isOther;
}

void ModelHandle::Close() {
    if (IsClosed()) {
        return;
    }
    Undo();  // first: a transaction and what was read refer to the database
    m_isClosed = true;
    ORQSimDatabase database = std::exchange(m_database, ORQSimDatabase());
    if (NumViews() == 0) {
        database.Close();  // else the last view closes it
    }
}

namespace {

HandlePtr Open(const std::string& path, bool isWritable) {
    return InLibrary([&] {
        return HandlePtr(new ModelHandle(ORQSimDatabase::Open(
            path, isWritable ? ORQSimDatabase::Mode::ReadWrite : ORQSimDatabase::Mode::ReadOnly)));
    });
}

HandlePtr Create(const std::string& path) {
    return InLibrary([&] { return HandlePtr(new ModelHandle(ORQSimDatabase::Create(path))); });
}

HandlePtr CreateInMemory() {
    return InLibrary([] { return HandlePtr(new ModelHandle(ORQSimDatabase::CreateInMemory())); });
}

/// The number of the job's status, None for no job, and who writes.
py::tuple Job(ModelHandle& handle) {
    const auto [status, writer] = InLibrary([&] {
        return std::pair(ORQObjReadJobStatus(handle.Document()), handle.Database().Writer());
    });
    return py::make_tuple(
        status ? py::object(py::int_(static_cast<int>(*status))) : py::object(py::none()), writer);
}

}  // namespace

void DefineModel(py::module_& module, HandleClass& handle) {
    module.def("open", &Open);
    module.def("create", &Create);
    module.def("create_in_memory", &CreateInMemory);
    handle
        .def_property_readonly(
            "path",
            [](ModelHandle& self) {
                return py::bytes(InLibrary([&] { return self.Database().Path(); }));
            })
        .def_property_readonly("epoch", &ModelHandle::Epoch)
        .def_property_readonly("is_closed", &ModelHandle::IsClosed)
        .def_property_readonly(
            "is_writing",
            [](ModelHandle& self) { return InLibrary([&] { return self.IsWriting(); }); })
        .def_property_readonly("is_writable",
                               [](ModelHandle& self) {
                                   return InLibrary([&] { return self.Database().IsWritable(); });
                               })
        .def_property_readonly("generation",
                               [](ModelHandle& self) {
                                   return InLibrary([&] { return self.Database().Generation(); });
                               })
        .def_property_readonly(
            "title",
            [](ModelHandle& self) { return InLibrary([&] { return self.Model().Title(); }); })
        .def("refresh",
             [](ModelHandle& self) {
                 return InLibrary([&] {
                     self.Database();
                     return self.Refresh();
                 });
             })
        .def("verify",
             [](ModelHandle& self, const py::object& progress) {
                 return InLibrary([&] {
                     const ModelHandle::InUse inUse(self);
                     return self.Database().Verify(ProgressTo(progress));
                 });
             })
        .def("job", &Job)
        .def_property_readonly("n_views", &ModelHandle::NumViews)
        .def("close", [](ModelHandle& self) { InLibrary([&] { self.Close(); }); });
}

}  // namespace orqmodel
