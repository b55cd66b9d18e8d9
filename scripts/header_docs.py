#!/usr/bin/env python3
"""Reads the /// comments of vela's public headers, keyed by qualified name ("vela::Mat::copyTo").

One reader serves two users, so that the documentation is written once, in the headers:
  header_docs.py --cpp OUT INCLUDE_DIR    writes the table the Python module takes its docstrings from
  header_docs.py --list INCLUDE_DIR       prints "kind key" for every documented public entity
(scripts/check_api_reference.py imports it to count the entities against the Doxygen reference.)

The reader knows the shape of these headers, not all of C++: declarations at namespace or class level, each
after its /// block or followed by ///<, enumerators one per line, `detail` namespaces and private sections
left out.
"""

import argparse
import os
import re
import sys

IDENT = r"[A-Za-z_][A-Za-z0-9_]*"


class Entity:
    """One documented declaration."""

    def __init__(self, kind, key, doc, params=(), header=""):
        self.kind = kind  # function, enum, enumerator, class, variable (a member or a constant)
        self.key = key
        self.doc = doc
        self.params = list(params)  # (type, name) of a function
        self.header = header
        self.namespace_level = False

    def __repr__(self):
        return "{} {}".format(self.kind, self.key)


def _clean_doc(lines):
    """The text of a /// block: one paragraph per run of lines, blank /// lines separating them, indented
    lines (code) kept as they are."""
    out = []
    for line in lines:
        text = line[1:] if line.startswith(" ") else line
        out.append(text.rstrip())
    while out and not out[-1]:
        out.pop()
    paragraphs, current, code = [], [], False
    for text in out:
        if not text:
            if current:
                paragraphs.append(("code" if code else "text", current))
            current, code = [], False
        elif text.startswith("    ") and not current:
            current, code = [text], True
        elif code:
            current.append(text)
        else:
            current.append(text.strip())
    if current:
        paragraphs.append(("code" if code else "text", current))
    return "\n\n".join("\n".join(p) if kind == "code" else " ".join(p) for kind, p in paragraphs)


def _split_top(text, sep=","):
    """Splits at `sep` outside brackets and template arguments."""
    parts, depth, current = [], 0, ""
    for char in text:
        if char in "([{<":
            depth += 1
        elif char in ")]}>":
            depth -= 1
        if char == sep and depth == 0:
            parts.append(current)
            current = ""
        else:
            current += char
    if current.strip():
        parts.append(current)
    return parts


def _params(text):
    params = []
    for part in _split_top(text):
        part = _split_top(part, "=")[0].strip()
        if not part or part == "void":
            continue
        match = re.match(r"(.*?)(" + IDENT + r")\s*(\[[^\]]*\])?$", part)
        if not match or not match.group(1).strip():
            params.append((part, ""))  # unnamed parameter
        else:
            params.append((match.group(1).strip(), match.group(2)))
    return params


def _strip_code(line):
    """The code of a line without its comment and string contents (so braces in them do not count)."""
    line = re.sub(r'"(\\.|[^"\\])*"', '""', line)
    line = re.sub(r"'(\\.|[^'\\])*'", "''", line)
    return line.split("//", 1)[0]


def parse_header(path, root):
    """Every documented public entity of one header."""
    rel = os.path.relpath(path, root)
    with open(path, encoding="utf-8") as header:
        lines = header.read().split("\n")
    entities = []
    scopes = []  # (kind, name, depth at which it opened, public)
    depth = 0
    pending = []  # /// lines waiting for their declaration
    statement = ""  # a declaration spread over several lines
    statement_doc = None
    in_block_comment = False

    def qualified(name):
        names = [s[1] for s in scopes if s[1]]
        return "::".join(names + [name])

    def hidden():
        return any(s[1] == "detail" or not s[3] for s in scopes)

    def current_kind():
        return scopes[-1][0] if scopes else "file"

    for raw in lines:
        stripped = raw.strip()
        if in_block_comment:
            if "*/" in stripped:
                in_block_comment = False
            continue
        if stripped.startswith("/*"):
            in_block_comment = "*/" not in stripped
            continue
        if stripped.startswith("///") and not stripped.startswith("///<"):
            named = re.match(r"///\s*[@\\]var\s+(" + IDENT + r")\s*$", stripped)
            if named:  # documents a member declared elsewhere in the scope
                var_block = [qualified(named.group(1)), []]
                entities.append(var_block)
                pending = []
                continue
            if entities and isinstance(entities[-1], list):
                entities[-1][1].append(stripped[3:])
                continue
            pending.append(stripped[3:])
            continue
        if entities and isinstance(entities[-1], list):
            key, block = entities.pop()
            entities.append(Entity("variable", key, _clean_doc(block), header=rel))
        if any(re.match(r"\s*[@\\](file|defgroup|ingroup|addtogroup|cond|endcond)\b", line) for line in pending):
            pending = []  # a block about the file or its group, not the next declaration
        if not stripped or stripped.startswith("//") or stripped.startswith("#"):
            if not stripped.startswith("//"):
                pending = [] if not stripped else pending
            continue
        if current_kind() == "body":
            # Inside an inline function: nothing declared here is public.
            code = _strip_code(raw)
            depth += code.count("{") - code.count("}")
            while scopes and depth <= scopes[-1][2]:
                scopes.pop()
            pending = []
            continue
        trailing = None
        if "///<" in raw:
            trailing = raw.split("///<", 1)[1].strip()
        code = _strip_code(raw).strip()

        access = re.match(r"(public|private|protected)\s*:", code)
        if access and scopes and scopes[-1][0] == "class":
            kind, name, opened, _ = scopes[-1]
            scopes[-1] = (kind, name, opened, access.group(1) == "public")
            pending = []
            continue

        if current_kind() == "enum" and not statement:
            # Enumerators: NAME [= value], with /// before or ///< after.
            for item in _split_top(code):
                match = re.match(r"\s*(" + IDENT + r")\s*(=.*)?$", item)
                if match and not hidden():
                    doc = trailing if trailing is not None else _clean_doc(pending)
                    entities.append(Entity("enumerator", qualified(match.group(1)), doc, header=rel))
            pending = []
            depth += code.count("{") - code.count("}")
            while scopes and depth <= scopes[-1][2]:
                scopes.pop()
            continue

        if not statement:
            statement_doc = pending
        statement += " " + code
        pending = []
        opens = code.count("{")
        closes = code.count("}")
        text = statement.strip()
        done = text.endswith(";") or text.endswith("{") or text.endswith("}") or opens or closes
        if not done:
            if trailing is not None:
                statement_doc = [trailing]
            continue
        statement = ""
        doc_lines = [trailing] if trailing is not None else statement_doc
        doc = _clean_doc(doc_lines) if doc_lines else ""
        head = _head(text)
        opened_scope = None

        namespace = re.match(r"namespace\s+(" + IDENT + r")?", head)
        enum = re.match(r"enum\s+(class\s+|struct\s+)?(?:\[\[[^\]]*\]\]\s*)?(" + IDENT + r")", head)
        record = re.match(r"(?:template\s*<[^>]*>\s*)?(class|struct|union)\s+(?:VELA_API\s+)?(" + IDENT + r")",
                          head)
        if namespace:
            opened_scope = ("namespace", namespace.group(1) or "", True)
        elif enum:
            opened_scope = ("enum", enum.group(2), True)
            if not hidden() and ("{" in text or head.endswith(";") is False):
                entity = Entity("enum", qualified(enum.group(2)), doc, header=rel)
                entity.namespace_level = current_kind() in ("namespace", "file")
                entities.append(entity)
        elif record and "(" not in head.split(record.group(2), 1)[0]:
            if "{" in text:
                opened_scope = ("class", record.group(2), record.group(1) != "class")
                if not hidden():
                    entity = Entity("class", qualified(record.group(2)), doc, header=rel)
                    entity.bases = re.findall(r"public\s+(" + IDENT + r")", head.split(record.group(2), 1)[1])
                    entities.append(entity)
        elif head.startswith("static_assert") or (
                head.startswith(("using ", "typedef ", "friend ", "template")) and "(" not in head):
            pass
        elif "(" in head and not head.startswith(("return", "if", "for", "while")) and not (
                "=" in head and head.index("=") < head.index("(") and "operator" not in head[:head.index("(")]):
            prefix = head.split("(", 1)[0]
            match = re.search(r"(operator\s*\S+|~?" + IDENT + r")\s*$", prefix)
            out_of_class = match and prefix[:match.start()].rstrip().endswith("::")  # declared in its class
            if match and not out_of_class and not hidden() and current_kind() in ("namespace", "file", "class"):
                name = re.sub(r"\s+", "", match.group(1))
                close = _matching_paren(head, head.index("("))
                params = _params(head[head.index("(") + 1:close])
                entity = Entity("function", qualified(name), doc, params, header=rel)
                entity.namespace_level = current_kind() in ("namespace", "file")
                entities.append(entity)
            opened_scope = ("body", "", False)
        elif current_kind() in ("namespace", "file", "class") and not hidden():
            declarators = _split_top(text.rstrip(";"))
            first = re.search(r"(" + IDENT + r")\s*(\[[^\]]*\])?\s*(=.*|\{.*\})?$", declarators[0].strip())
            names = [first.group(1)] if first else []
            names += [re.match(r"\s*(" + IDENT + ")", d).group(1) for d in declarators[1:]
                      if re.match(r"\s*(" + IDENT + ")", d)]
            if names and not text.startswith(("using", "typedef", "friend")):
                for index, name in enumerate(names):
                    entity = Entity("variable", qualified(name), doc if index == 0 else "", header=rel)
                    entity.namespace_level = current_kind() in ("namespace", "file")
                    entities.append(entity)

        depth += opens - closes
        if opened_scope and opens > closes:
            scopes.append((opened_scope[0], opened_scope[1], depth - (opens - closes), opened_scope[2]))
        while scopes and depth <= scopes[-1][2]:
            scopes.pop()
    return entities


def _head(text):
    """The declaration before its body: up to the first '{' outside parentheses (a default `= {}` stays)."""
    depth = 0
    for index, char in enumerate(text):
        if char == "(":
            depth += 1
        elif char == ")":
            depth -= 1
        elif char == "{" and depth == 0:
            return text[:index].strip()
    return text.strip()


def _matching_paren(text, start):
    depth = 0
    for index in range(start, len(text)):
        if text[index] == "(":
            depth += 1
        elif text[index] == ")":
            depth -= 1
            if depth == 0:
                return index
    return len(text)


def parse_tree(include_dir):
    """Every documented public entity under include_dir, header by header in path order."""
    entities = []
    for folder, _, files in sorted(os.walk(include_dir)):
        for name in sorted(files):
            if name.endswith((".hpp", ".h")):
                entities += parse_header(os.path.join(folder, name), include_dir)
    # A member documented once, in its declaration, is that of the @var block too.
    documented = {}
    for entity in entities:
        if entity.doc:
            documented.setdefault(entity.key, entity)
    entities = [e for e in entities if e.doc or e.key not in documented or e.kind != "variable"]
    return entities


def inherited(entities):
    """Members of public base classes under the derived class's name, where it declares none of its own:
    Translation's x is Vector3's x."""
    classes = {e.key: e for e in entities if e.kind == "class"}
    by_scope = {}
    for entity in entities:
        by_scope.setdefault(entity.key.rsplit("::", 1)[0], []).append(entity)
    out = []
    for key, cls in classes.items():
        own = {e.key for e in by_scope.get(key, [])}
        namespace = key.rsplit("::", 1)[0]
        for base in getattr(cls, "bases", []):
            for member in by_scope.get(namespace + "::" + base, []):
                derived = key + "::" + member.key.rsplit("::", 1)[1]
                if derived not in own and member.kind in ("function", "variable") and member.doc:
                    copy = Entity(member.kind, derived, member.doc, member.params, member.header)
                    out.append(copy)
    return out


def _cpp_string(text):
    return 'R"vela_doc(' + text + ')vela_doc"'


def write_cpp(entities, out):
    rows = []
    for entity in entities:
        if not entity.doc:
            continue
        names = " ".join(name for _, name in entity.params)
        types = " ".join(re.findall(IDENT, " ".join(t for t, _ in entity.params)))
        rows.append("{{{}, {}, {}, {}}},".format(_cpp_string(entity.key), _cpp_string(names),
                                                  _cpp_string(types), _cpp_string(entity.doc)))
    text = ("// Generated by scripts/header_docs.py from the /// comments of the public headers; not edited.\n"
            + "\n".join(rows) + "\n")
    try:
        with open(out, encoding="utf-8") as current:
            if current.read() == text:
                return  # unchanged: nothing to recompile
    except OSError:
        pass
    os.makedirs(os.path.dirname(os.path.abspath(out)), exist_ok=True)
    with open(out + ".tmp", "w", encoding="utf-8") as target:
        target.write(text)
    os.replace(out + ".tmp", out)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--cpp", metavar="OUT")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("include_dir")
    args = parser.parse_args()
    entities = parse_tree(args.include_dir)
    if args.cpp:
        write_cpp(entities + inherited(entities), args.cpp)
    if args.list:
        for entity in entities:
            print(entity.kind, entity.key, "(namespace level)" if entity.namespace_level else "",
                  "" if entity.doc else "UNDOCUMENTED")
    return 0


if __name__ == "__main__":
    sys.exit(main())
