"""The reader of the headers' /// comments, on a header written for it: what it keeps, under which name."""

HEADER = '''#pragma once

/// \\file
/// \\ingroup core

namespace vela {

/// Kinds of thing.
enum class KIND : int {
    A = 0,  ///< the first
    /// the second
    B = 1,
};

/// A constant.
inline constexpr KIND BOTH = static_cast<KIND>(3);

/// Adds `a` and `b`; the sum
/// of both.
///
///     int c = add(1, 2);
int add(int a, const Vector<float>& b = {}, KIND kind = KIND::A);

inline bool check(int err) {
    int hidden = err;
    return hidden == 0;
}

/// A record.
class Box : public Base<float> {
    int secret;  ///< never public

  public:
    /// First and second.
    float x{}, y{};
    /// @var y
    /// The second one.

    /// Size, in bytes.
    size_t size() const { return 4; }
    /// Compares.
    bool operator==(const Box& other) const;
};

namespace detail {
/// Internal.
int internal();
}  // namespace detail

inline bool Box::operator==(const Box& other) const { return true; }

}  // namespace vela
'''


def test_the_reader_keeps_each_declaration_under_its_qualified_name(tmp_path, header_docs):
    (tmp_path / "vela").mkdir()
    (tmp_path / "vela" / "box.hpp").write_text(HEADER)
    found = [(e.kind, e.key, e.doc, e.params, e.namespace_level) for e in header_docs.parse_tree(str(tmp_path))]
    assert found == [
        ("enum", "vela::KIND", "Kinds of thing.", [], True),
        ("enumerator", "vela::KIND::A", "the first", [], False),
        ("enumerator", "vela::KIND::B", "the second", [], False),
        ("variable", "vela::BOTH", "A constant.", [], True),
        ("function", "vela::add", "Adds `a` and `b`; the sum of both.\n\n    int c = add(1, 2);",
         [("int", "a"), ("const Vector<float>&", "b"), ("KIND", "kind")], True),
        ("function", "vela::check", "", [("int", "err")], True),
        ("class", "vela::Box", "A record.", [], False),
        ("variable", "vela::Box::x", "First and second.", [], False),
        ("variable", "vela::Box::y", "The second one.", [], False),
        ("function", "vela::Box::size", "Size, in bytes.", [], False),
        ("function", "vela::Box::operator==", "Compares.", [("const Box&", "other")], False),
    ]
