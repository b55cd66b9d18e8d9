// Docstrings from the public headers: after every binding is made, each function, method, property, class,
// enumeration and enumerator of the module gets the /// text of its C++ declaration, looked up by its
// qualified name in a table that scripts/header_docs.py writes from the headers at build time. The
// bindings themselves name no documentation: what the headers say is written once, there.
//
// pybind11 (2.10) composes a function's docstring once, when the function is defined, from its overload
// records; the records are reached here through the function's capsule, given their text, and the docstring
// is composed again in the same layout, headed by a text signature that `inspect` reads.

#include <pybind11/pybind11.h>

#include <cstdlib>
#include <cstring>
#include <regex>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "bindings.hpp"
#include "vela/core/error_code.hpp"

namespace py = pybind11;

namespace vela {
namespace python {
namespace {

struct HeaderDoc {
    const char* key;    // "vela::Mat::copyTo"
    const char* names;  // parameter names, blank-separated
    const char* types;  // the identifiers of the parameter types, blank-separated
    const char* text;
};

const HeaderDoc kHeaderDocs[] = {
#include "header_docs.inc"
};

using DocTable = std::unordered_multimap<std::string, const HeaderDoc*>;

const DocTable& docTable() {
    static const DocTable table = [] {
        DocTable built;
        for (const HeaderDoc& doc : kHeaderDocs)
            built.emplace(doc.key, &doc);
        return built;
    }();
    return table;
}

std::vector<std::string> words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> out;
    for (std::string word; in >> word;)
        out.push_back(word);
    return out;
}

// The Python names of operators, as C++ spells them.
std::string cppName(const std::string& name, const std::string& className) {
    static const std::unordered_map<std::string, std::string> operators = {
        {"__eq__", "operator=="}, {"__ne__", "operator!="}, {"__mul__", "operator*"},
        {"__add__", "operator+"}, {"__sub__", "operator-"}, {"__getitem__", "operator[]"},
        {"__call__", "operator"}};
    if (name == "__init__") return className;
    const auto op = operators.find(name);
    return op == operators.end() ? name : op->second;
}

// The header text for one overload: among the declarations of `key`, the one whose parameter names and
// types agree best with the overload's arguments (and the type names its signature shows).
const HeaderDoc* bestMatch(const std::string& key, const py::detail::function_record& record) {
    const auto range = docTable().equal_range(key);
    std::vector<std::string> argNames;
    for (const auto& arg : record.args)
        if (arg.name && std::strcmp(arg.name, "self") != 0) argNames.emplace_back(arg.name);
    const std::string signature = record.signature ? record.signature : "";
    const HeaderDoc* best = nullptr;
    int bestScore = -1;
    for (auto it = range.first; it != range.second; ++it) {
        const HeaderDoc* doc = it->second;
        const auto names = words(doc->names);
        int score = names.size() == argNames.size() ? 2 : 0;
        for (size_t i = 0; i < names.size() && i < argNames.size(); ++i)
            score += names[i] == argNames[i] ? 2 : 0;
        for (const auto& type : words(doc->types))
            if (type.size() > 2 && std::regex_search(signature, std::regex("\\b" + type + "\\b"))) score += 1;
        if (score > bestScore) {
            best = doc;
            bestScore = score;
        }
    }
    return best;
}

// Defaults print as `MEM.CPU`, not as the enumeration's repr `<MEM.CPU: 0>`, and a default-constructed
// record as `PointCloudWriteOptions()` rather than its address.
std::string readableDefaults(const std::string& text) {
    static const std::regex enumRepr("<([A-Za-z_][A-Za-z0-9_.]*): -?[0-9]+>");
    static const std::regex objectRepr(
        "<(?:[A-Za-z_][A-Za-z0-9_]*\\.)*([A-Za-z_][A-Za-z0-9_]*) object at 0x[0-9a-fA-F]+>");
    return std::regex_replace(std::regex_replace(text, enumRepr, "$1"), objectRepr, "$1()");
}

bool isPythonLiteral(const std::string& text) {
    static const std::regex literal(R"(-?[0-9]+(\.[0-9]*)?([eE][-+]?[0-9]+)?|True|False|None|'[^'\\]*')");
    return std::regex_match(text, literal);
}

// "name(a, b=1, c=...)\n--\n\n": the text signature CPython gives `inspect`. It cannot carry annotations,
// and `inspect` accepts only literal defaults there, so other defaults show as `...` (the type stubs and
// the typed signature line below it give them in full).
std::string textSignature(const py::detail::function_record& record) {
    std::string out = std::string(record.name) + "(";
    for (size_t i = 0; i < record.args.size(); ++i) {
        const auto& arg = record.args[i];
        if (i) out += ", ";
        if (record.has_args && i + 1 + record.has_kwargs == record.args.size()) out += "*";
        if (record.has_kwargs && i + 1 == record.args.size()) out += "**";
        out += arg.name ? arg.name : ("arg" + std::to_string(i));
        if (arg.descr) {
            const std::string value = readableDefaults(arg.descr);
            out += "=" + (isPythonLiteral(value) ? value : std::string("..."));
        }
    }
    return out + ")\n--\n\n";
}

void replaceCString(char*& target, const std::string& text) {
    char* copy = static_cast<char*>(std::malloc(text.size() + 1));  // pybind11 releases it with free
    if (!copy) throw std::bad_alloc();
    std::memcpy(copy, text.c_str(), text.size() + 1);
    std::free(target);
    target = copy;
}

// The function object under a class attribute or module attribute, or null for anything else.
PyObject* cppFunction(py::handle attribute) {
    PyObject* object = attribute.ptr();
    if (PyInstanceMethod_Check(object)) object = PyInstanceMethod_GET_FUNCTION(object);
    if (Py_TYPE(object) == &PyStaticMethod_Type) {
        py::object inner = py::reinterpret_borrow<py::object>(object).attr("__func__");
        object = inner.ptr();  // the static method holds its function alive
    }
    if (!PyCFunction_Check(object)) return nullptr;
    PyObject* self = PyCFunction_GET_SELF(object);
    if (!self || !PyCapsule_CheckExact(self)) return nullptr;
    if (!py::detail::is_function_record_capsule(py::reinterpret_borrow<py::capsule>(self))) return nullptr;
    return object;
}

void documentFunction(PyObject* function, const std::string& key) {
    auto* chain = static_cast<py::detail::function_record*>(
        PyCapsule_GetPointer(PyCFunction_GET_SELF(function), py::detail::get_function_record_capsule_name()));
    const bool overloaded = chain->next != nullptr;
    std::string doc;
    // Overloads share one text signature that takes anything; the typed line of each follows.
    if (overloaded) doc = std::string(chain->name) + "(*args, **kwargs)\n--\n\nOverloaded function.\n\n";
    int index = 0;
    for (auto* record = chain; record; record = record->next) {
        std::string text;
        if (const HeaderDoc* header = bestMatch(key, *record)) text = header->text;
        if (text.empty() && std::strcmp(record->name, "__init__") == 0)
            text = record->args.size() == 1 ? "A value with every field at its declared default."
                                            : "The enumerator whose integer value is `value`.";
        // Words the binding adds for Python (a tuple returned, a path-like accepted) follow the header's.
        if (record->doc && record->doc[0] && text.find(record->doc) == std::string::npos)
            text += (text.empty() ? "" : "\n\n") + std::string(record->doc);
        if (!text.empty()) replaceCString(record->doc, text);
        const std::string signature = readableDefaults(record->signature);
        replaceCString(record->signature, signature);
        if (!overloaded) doc += textSignature(*record);
        if (index) doc += "\n";
        if (overloaded) doc += std::to_string(++index) + ". ";
        doc += std::string(record->name) + signature + "\n";
        if (!text.empty()) doc += "\n" + text + "\n";
    }
    auto* object = reinterpret_cast<PyCFunctionObject*>(function);
    char* methodDoc = const_cast<char*>(object->m_ml->ml_doc);
    replaceCString(methodDoc, doc);
    object->m_ml->ml_doc = methodDoc;
}

std::string headerText(const std::string& key) {
    const auto found = docTable().find(key);
    return found == docTable().end() ? std::string() : found->second->text;
}

// An enumerator the header leaves without a comment keeps an empty entry; ERROR_CODE's values take the
// sentence toVerbose gives them (CUDA_ERROR's would ask the runtime, so it is said here).
std::string enumeratorText(const std::string& key, py::handle value) {
    std::string text = headerText(key);
    if (text.empty() && py::isinstance<ERROR_CODE>(value)) {
        const auto code = value.cast<ERROR_CODE>();
        text = code == ERROR_CODE::CUDA_ERROR
                   ? "a CUDA runtime call failed (verbose: the runtime's description)"
                   : toVerbose(code).c_str();
    }
    return text;
}

void setTypeDoc(py::handle type, const std::string& text) {
    auto* heapType = reinterpret_cast<PyTypeObject*>(type.ptr());
    // A heap type's tp_doc is released with PyObject_Free; pybind11's enumerations read their text from it.
    char* copy = static_cast<char*>(PyObject_Malloc(text.size() + 1));
    if (!copy) throw std::bad_alloc();
    std::memcpy(copy, text.c_str(), text.size() + 1);
    PyObject_Free(const_cast<char*>(heapType->tp_doc));
    heapType->tp_doc = copy;
    if (!py::hasattr(type, "__entries")) py::setattr(type, "__doc__", py::str(text));
}

void documentType(py::handle type, const std::string& pythonPrefix, const std::string& key) {
    const std::string className = py::str(type.attr("__name__"));
    const std::string text = headerText(key);
    if (!text.empty()) setTypeDoc(type, text);
    const py::dict members(type.attr("__dict__"));  // a copy of the type's mapping proxy
    if (py::hasattr(type, "__entries")) {
        py::dict entries = type.attr("__entries");
        for (auto item : entries) {
            const std::string name = py::str(item.first);
            const py::tuple entry = py::reinterpret_borrow<py::tuple>(item.second);
            const std::string valueText = enumeratorText(key + "::" + name, entry[0]);
            if (!valueText.empty()) entries[item.first] = py::make_tuple(entry[0], valueText);
        }
    }
    for (auto item : members) {
        const std::string name = py::str(item.first);
        const py::handle member = item.second;
        if (name.rfind("__", 0) == 0 && name != "__init__" && cppName(name, className) == name) continue;
        if (PyObject* function = cppFunction(member)) {
            documentFunction(function, key + "::" + cppName(name, className));
        } else if (PyType_Check(member.ptr())) {
            if (py::str(member.attr("__qualname__")).cast<std::string>() == className + "." + name)
                documentType(member, pythonPrefix + className + ".", key + "::" + name);
        } else if (py::isinstance(member, py::module_::import("builtins").attr("property"))) {
            std::string memberText = headerText(key + "::" + name);
            const bool enumMachinery = py::hasattr(type, "__entries") && (name == "name" || name == "value");
            if (enumMachinery)
                memberText =
                    name == "name" ? "The enumerator's name, as in C++." : "The enumerator's integer value.";
            const py::object bindingDoc = member.attr("__doc__");
            if (!enumMachinery && py::bool_(bindingDoc) && !memberText.empty())
                memberText += "\n\n" + py::str(bindingDoc).cast<std::string>();  // what Python adds
            if (!memberText.empty()) py::setattr(member, "__doc__", py::str(memberText));
        }
    }
}

}  // namespace

void attachHeaderDocs(py::module_& m) {
    const py::dict attributes = m.attr("__dict__");
    for (auto item : attributes) {
        const std::string name = py::str(item.first);
        if (name.rfind("_", 0) == 0) continue;
        if (PyObject* function = cppFunction(item.second)) {
            documentFunction(function, "vela::" + name);
        } else if (PyType_Check(item.second.ptr()) &&
                   py::str(item.second.attr("__name__")).cast<std::string>() == name) {
            documentType(item.second, "", "vela::" + name);
        } else if (py::isinstance<py::module_>(item.second)) {
            py::module_ sub = py::reinterpret_borrow<py::module_>(item.second);
            for (auto subItem : py::dict(sub.attr("__dict__")))
                if (PyObject* function = cppFunction(subItem.second))
                    documentFunction(function,
                                     "vela::" + name + "::" + py::str(subItem.first).cast<std::string>());
        }
    }
}

}  // namespace python
}  // namespace vela
