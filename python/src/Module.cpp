// The module orqmodel._core: what of the standard model crosses into Python, by numbers and arrays.
// The package's Python files make the objects of it that users see.
#include "Errors.h"
#include "ModelHandle.h"

PYBIND11_MODULE(_core, module) {
    using namespace orqmodel;
    module.doc() = "The standard model by numbers and arrays; use the package orqmodel.";
    module.attr("__version__") = ORQ_VERSION;
    DefineErrors(module);
    py::enum_<Kind>(module, "Kind").value("NODE", Kind::Node).value("ELEMENT", Kind::Element);
    HandleClass handle(module, "Handle");
    ForbidNew(handle);
    DefineModel(module, handle);
    DefineMesh(handle);
    DefineSets(handle);
    DefineSections(handle);
    DefineFields(handle);
    DefineWriting(module, handle);
    DefineCheck(handle);
    DefineConvert(module);
    DefineArrow(module);
}
