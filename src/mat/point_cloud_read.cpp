// Point clouds from PLY, PCD and XYZ files. The whole file is read into memory. Binary rows of one size are
// read at fixed offsets once the file is known to hold all of them; other values are taken through a
// cursor that checks the bytes left before each read. Either way no input makes the reader look past the
// end of the file. Points are filled into a new Mat that replaces the caller's only once all of them read.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "core/logging.hpp"
#include "vela/mat/point_cloud_files.hpp"

namespace vela {
namespace {

// Element types of PLY properties and PCD fields.
enum class Scalar { I8, U8, I16, U16, I32, U32, I64, U64, F32, F64 };

size_t sizeOf(Scalar type) {
    switch (type) {
        case Scalar::I8:
        case Scalar::U8:
            return 1;
        case Scalar::I16:
        case Scalar::U16:
            return 2;
        case Scalar::I32:
        case Scalar::U32:
        case Scalar::F32:
            return 4;
        case Scalar::I64:
        case Scalar::U64:
        case Scalar::F64:
            return 8;
    }
    return 1;
}

bool isFloat(Scalar type) {
    return type == Scalar::F32 || type == Scalar::F64;
}

// What a column means to a point.
enum class Role { NONE, X, Y, Z, RED, GREEN, BLUE, PACKED };

// One PLY property or PCD field: `count` values of `type` (PCD), or a PLY list of items of `type` preceded
// by their number as `countType`.
struct Column {
    Scalar type = Scalar::F32;
    size_t count = 1;
    bool list = false;
    Scalar countType = Scalar::U8;
    Role role = Role::NONE;
};

// A value read from a file: its number, and the low 32 bits as stored (a float's own bits), which carry a
// packed colour.
struct Value {
    double number = 0;
    uint32_t bits = 0;
};

// The point being read; colour bytes in the Mat's order: red, green, blue, unused.
struct Point {
    float xyz[3] = {0, 0, 0};
    unsigned char rgb[4] = {0, 0, 0, 0};
};

unsigned char colourByte(double number, bool unit) {
    // Float colours run over 0..1, integer colours over 0..255.
    const double scaled = unit ? std::nearbyint(number * 255.0) : number;
    return scaled >= 255.0 ? 255 : scaled > 0.0 ? static_cast<unsigned char>(scaled) : 0;
}

void assign(const Column& column, const Value& value, Point& point) {
    switch (column.role) {
        case Role::NONE:
            return;
        case Role::X:
        case Role::Y:
        case Role::Z:
            point.xyz[static_cast<int>(column.role) - static_cast<int>(Role::X)] =
                static_cast<float>(value.number);
            return;
        case Role::RED:
        case Role::GREEN:
        case Role::BLUE:
            point.rgb[static_cast<int>(column.role) - static_cast<int>(Role::RED)] =
                colourByte(value.number, isFloat(column.type));
            return;
        case Role::PACKED:
            // 0x??RRGGBB
            point.rgb[0] = static_cast<unsigned char>(value.bits >> 16);
            point.rgb[1] = static_cast<unsigned char>(value.bits >> 8);
            point.rgb[2] = static_cast<unsigned char>(value.bits);
            return;
    }
}

// The T stored at `bytes` in the given byte order, by copies of a fixed size.
template <typename T>
Value valueAt(const char* bytes, bool bigEndian) {
    unsigned char ordered[sizeof(T)];
    std::memcpy(ordered, bytes, sizeof ordered);
    if (bigEndian) std::reverse(ordered, ordered + sizeof ordered);
    T typed;
    std::memcpy(&typed, ordered, sizeof typed);
    Value value;
    value.number = static_cast<double>(typed);
    if constexpr (std::is_same<T, float>::value)
        std::memcpy(&value.bits, &typed, sizeof value.bits);
    else if constexpr (std::is_integral<T>::value)  // the stored bits, not the sign-extended number
        value.bits = static_cast<uint32_t>(static_cast<std::make_unsigned_t<T>>(typed));
    return value;
}

// Inlined into the loops over rows, where reading a binary cloud spends its time: called, it took a third
// of that time.
__attribute__((always_inline)) inline Value valueAt(Scalar type, const char* bytes, bool bigEndian) {
    switch (type) {
        case Scalar::I8:
            return valueAt<int8_t>(bytes, bigEndian);
        case Scalar::U8:
            return valueAt<uint8_t>(bytes, bigEndian);
        case Scalar::I16:
            return valueAt<int16_t>(bytes, bigEndian);
        case Scalar::U16:
            return valueAt<uint16_t>(bytes, bigEndian);
        case Scalar::I32:
            return valueAt<int32_t>(bytes, bigEndian);
        case Scalar::U32:
            return valueAt<uint32_t>(bytes, bigEndian);
        case Scalar::I64:
            return valueAt<int64_t>(bytes, bigEndian);
        case Scalar::U64:
            return valueAt<uint64_t>(bytes, bigEndian);
        case Scalar::F32:
            return valueAt<float>(bytes, bigEndian);
        case Scalar::F64:
            return valueAt<double>(bytes, bigEndian);
    }
    return {};
}

// Binary values, in either byte order.
class BinaryCursor {
  public:
    BinaryCursor(const char* begin, const char* end, bool bigEndian)
        : next(begin), end(end), bigEndian(bigEndian) {}

    bool read(Scalar type, Value& value) {
        const size_t size = sizeOf(type);
        if (static_cast<size_t>(end - next) < size) return false;
        value = valueAt(type, next, bigEndian);
        next += size;
        return true;
    }
    bool skip(Scalar type, uint64_t items) {
        const size_t size = sizeOf(type);
        if (items > static_cast<size_t>(end - next) / size) return false;
        next += items * size;
        return true;
    }
    const char* position() const { return next; }

  private:
    const char* next;
    const char* end;
    bool bigEndian;
};

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

// Text values separated by blanks or line breaks; a value must fill its whole word.
class TextCursor {
  public:
    TextCursor(const char* begin, const char* end) : next(begin), end(end) {}

    bool read(Scalar type, Value& value) {
        while (next != end && isBlank(*next))
            ++next;
        const char* word = next;
        while (next != end && !isBlank(*next))
            ++next;
        // from_chars takes no plus sign.
        if (word != next && *word == '+' && next - word > 1 && word[1] != '-') ++word;
        if (word == next) return false;
        std::from_chars_result result{};
        if (type == Scalar::F32) {
            float number = 0;
            result = std::from_chars(word, next, number);
            value.number = number;
            std::memcpy(&value.bits, &number, sizeof number);
        } else if (type == Scalar::F64) {
            result = std::from_chars(word, next, value.number);
            value.bits = 0;
        } else if (type == Scalar::U64) {
            uint64_t number = 0;
            result = std::from_chars(word, next, number);
            value.number = static_cast<double>(number);
            value.bits = static_cast<uint32_t>(number);
        } else {
            int64_t number = 0;
            result = std::from_chars(word, next, number);
            value.number = static_cast<double>(number);
            value.bits = static_cast<uint32_t>(number);
        }
        return result.ec == std::errc() && result.ptr == next;
    }
    bool skip(Scalar type, uint64_t items) {
        Value ignored;
        for (uint64_t i = 0; i < items; ++i)
            if (!read(type, ignored)) return false;
        return true;
    }
    const char* position() const { return next; }

  private:
    const char* next;
    const char* end;
};

// Reads one row of `columns`, filling `point` with the values that have a role.
template <typename Cursor>
bool readRow(Cursor& cursor, const std::vector<Column>& columns, Point& point) {
    Value value;
    for (const Column& column : columns) {
        if (column.list) {
            if (!cursor.read(column.countType, value) || !(value.number >= 0 && value.number < 4294967296.0))
                return false;
            if (!cursor.skip(column.type, static_cast<uint64_t>(value.number))) return false;
            continue;
        }
        for (size_t i = 0; i < column.count; ++i) {
            if (!cursor.read(column.type, value)) return false;
            if (i == 0) assign(column, value, point);
        }
    }
    return true;
}

// The least a row of `columns` takes: its bytes, or in text one character and one separator per value.
// 0 when that does not fit in a size_t: a header's counts must not wrap the row size around.
size_t minimumRowBytes(const std::vector<Column>& columns, bool binary) {
    size_t bytes = 0;
    for (const Column& column : columns) {
        const size_t values = column.list ? 1 : column.count;
        const size_t valueBytes = binary ? sizeOf(column.list ? column.countType : column.type) : 2;
        size_t columnBytes = 0;
        if (__builtin_mul_overflow(values, valueBytes, &columnBytes) ||
            __builtin_add_overflow(bytes, columnBytes, &bytes))
            return 0;
    }
    return bytes;
}

// A failure to report: the reason, told to the log once.
struct Failure {
    std::string reason;
};

// What a file holds: the grid of its points and how to read them.
struct CloudBody {
    size_t width = 0;
    size_t height = 0;
    std::vector<Column> columns;
    bool binary = false;
    bool bigEndian = false;
    const char* begin = nullptr;  ///< first byte of the points
    const char* end = nullptr;
};

// Reads the body's points into a new Mat; false with `failure` set when they are not all there.
bool readPoints(const CloudBody& body, Mat& points, Failure& failure) {
    const size_t count = body.width * body.height;
    if (count == 0) return true;
    // Refuse counts the file cannot hold before asking for memory for them.
    const size_t rowBytes = minimumRowBytes(body.columns, body.binary);
    const size_t available = static_cast<size_t>(body.end - body.begin) + (body.binary ? 0 : 1);
    if (rowBytes == 0) {
        failure.reason = "the size of a point's row overflows";
        return false;
    }
    if (count > available / rowBytes) {
        failure.reason = "truncated: " + std::to_string(count) + " points cannot fit in the " +
                         std::to_string(body.end - body.begin) + " bytes left";
        return false;
    }
    points.alloc(body.width, body.height, MAT_TYPE::F32_C4, MEM::CPU);
    if (points.cpuBuffer == nullptr) {
        failure.reason = "no memory for " + std::to_string(count) + " points";
        return false;
    }
    unsigned char* out = points.cpuBuffer.get();
    if (body.binary && std::none_of(body.columns.begin(), body.columns.end(),
                                    [](const Column& column) { return column.list; })) {
        // Rows of one size, all of them in the file (checked above): each value a point takes is read at
        // its offset in the row, and the others are not visited.
        struct Field {
            const Column* column;
            size_t offset;
        };
        std::vector<Field> fields;
        size_t offset = 0;
        for (const Column& column : body.columns) {
            if (column.role != Role::NONE) fields.push_back({&column, offset});
            offset += column.count * sizeOf(column.type);
        }
        for (size_t i = 0; i < count; ++i) {
            const char* row = body.begin + i * rowBytes;
            Point point;
            for (const Field& field : fields)
                assign(*field.column, valueAt(field.column->type, row + field.offset, body.bigEndian), point);
            std::memcpy(out + i * sizeof point, &point, sizeof point);
        }
        return true;
    }
    const auto fill = [&](auto& cursor) {
        for (size_t i = 0; i < count; ++i) {
            Point point;
            if (!readRow(cursor, body.columns, point)) {
                failure.reason =
                    "truncated or malformed at point " + std::to_string(i) + " of " + std::to_string(count);
                return false;
            }
            std::memcpy(out + i * sizeof point, &point, sizeof point);
        }
        return true;
    };
    if (body.binary) {
        BinaryCursor cursor(body.begin, body.end, body.bigEndian);
        return fill(cursor);
    }
    TextCursor cursor(body.begin, body.end);
    return fill(cursor);
}

// Header lines: one at a time, without the line break (and a carriage return before it).
class Lines {
  public:
    Lines(const char* begin, const char* end) : next(begin), end(end) {}
    /// The next line; false when no complete line is left.
    bool take(std::string_view& line) {
        const char* lineEnd =
            static_cast<const char*>(std::memchr(next, '\n', static_cast<size_t>(end - next)));
        if (lineEnd == nullptr) return false;
        line = std::string_view(next, static_cast<size_t>(lineEnd - next));
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        next = lineEnd + 1;
        return true;
    }
    const char* position() const { return next; }

  private:
    const char* next;
    const char* end;
};

std::vector<std::string_view> wordsOf(std::string_view line) {
    std::vector<std::string_view> words;
    size_t at = 0;
    while (at < line.size()) {
        while (at < line.size() && isBlank(line[at]))
            ++at;
        const size_t start = at;
        while (at < line.size() && !isBlank(line[at]))
            ++at;
        if (at > start) words.push_back(line.substr(start, at - start));
    }
    return words;
}

bool parseCount(std::string_view word, size_t& count) {
    const auto result = std::from_chars(word.data(), word.data() + word.size(), count);
    return result.ec == std::errc() && result.ptr == word.data() + word.size();
}

// A PLY property type by either of its names.
bool plyScalar(std::string_view name, Scalar& type) {
    static const std::pair<std::string_view, Scalar> kNames[] = {
        {"char", Scalar::I8},   {"int8", Scalar::I8},     {"uchar", Scalar::U8},   {"uint8", Scalar::U8},
        {"short", Scalar::I16}, {"int16", Scalar::I16},   {"ushort", Scalar::U16}, {"uint16", Scalar::U16},
        {"int", Scalar::I32},   {"int32", Scalar::I32},   {"uint", Scalar::U32},   {"uint32", Scalar::U32},
        {"float", Scalar::F32}, {"float32", Scalar::F32}, {"double", Scalar::F64}, {"float64", Scalar::F64}};
    for (const auto& entry : kNames) {
        if (entry.first == name) {
            type = entry.second;
            return true;
        }
    }
    return false;
}

Role plyRole(std::string_view name) {
    if (name == "x") return Role::X;
    if (name == "y") return Role::Y;
    if (name == "z") return Role::Z;
    if (name == "red" || name == "r" || name == "diffuse_red") return Role::RED;
    if (name == "green" || name == "g" || name == "diffuse_green") return Role::GREEN;
    if (name == "blue" || name == "b" || name == "diffuse_blue") return Role::BLUE;
    return Role::NONE;
}

bool hasXyz(const std::vector<Column>& columns) {
    bool found[3] = {false, false, false};
    for (const Column& column : columns)
        if (column.role == Role::X || column.role == Role::Y || column.role == Role::Z)
            found[static_cast<int>(column.role) - static_cast<int>(Role::X)] = true;
    return found[0] && found[1] && found[2];
}

struct PlyElement {
    std::string_view name;
    size_t count = 0;
    std::vector<Column> columns;
};

bool parsePly(const char* begin, const char* end, CloudBody& body, Failure& failure) {
    Lines lines(begin, end);
    std::string_view line;
    lines.take(line);  // "ply", checked by the caller
    std::vector<PlyElement> elements;
    bool formatSeen = false;
    for (;;) {
        if (!lines.take(line)) {
            failure.reason = "the PLY header has no end_header line";
            return false;
        }
        const std::vector<std::string_view> words = wordsOf(line);
        if (words.empty() || words[0] == "comment" || words[0] == "obj_info") continue;
        if (words[0] == "end_header") break;
        if (words[0] == "format" && words.size() >= 2) {
            formatSeen = true;
            body.binary = words[1] != "ascii";
            body.bigEndian = words[1] == "binary_big_endian";
            if (body.binary && !body.bigEndian && words[1] != "binary_little_endian") {
                failure.reason = "unknown PLY format " + std::string(words[1]);
                return false;
            }
        } else if (words[0] == "element" && words.size() == 3) {
            PlyElement element;
            element.name = words[1];
            if (!parseCount(words[2], element.count)) {
                failure.reason = "bad element count " + std::string(words[2]);
                return false;
            }
            elements.push_back(element);
        } else if (words[0] == "property" && !elements.empty()) {
            Column column;
            const bool list = words.size() == 5 && words[1] == "list";
            column.list = list;
            if (!(words.size() == 3 || list) || (list && !plyScalar(words[2], column.countType)) ||
                !plyScalar(words[list ? 3 : 1], column.type) || (list && isFloat(column.countType))) {
                failure.reason = "bad PLY property line: " + std::string(line);
                return false;
            }
            column.role = list ? Role::NONE : plyRole(words.back());
            elements.back().columns.push_back(column);
        } else {
            failure.reason = "bad PLY header line: " + std::string(line);
            return false;
        }
    }
    if (!formatSeen) {
        failure.reason = "the PLY header has no format line";
        return false;
    }
    // Elements before the vertices are read and dropped; those after them are never reached.
    body.begin = lines.position();
    body.end = end;
    for (const PlyElement& element : elements) {
        if (element.name == "vertex") {
            if (!hasXyz(element.columns)) {
                failure.reason = "the vertices have no x, y and z";
                return false;
            }
            body.width = element.count;
            body.height = 1;
            body.columns = element.columns;
            return true;
        }
        const auto skipRows = [&](auto& cursor) {
            Point ignored;
            for (size_t row = 0; row < element.count && !element.columns.empty(); ++row)
                if (!readRow(cursor, element.columns, ignored)) return false;
            body.begin = cursor.position();
            return true;
        };
        BinaryCursor binary(body.begin, end, body.bigEndian);
        TextCursor text(body.begin, end);
        if (!(body.binary ? skipRows(binary) : skipRows(text))) {
            failure.reason = "truncated element " + std::string(element.name);
            return false;
        }
    }
    failure.reason = "the PLY file has no vertex element";
    return false;
}

bool pcdScalar(std::string_view type, size_t size, Scalar& scalar) {
    const char kind = type.size() == 1 ? type[0] : '?';
    const int index = size == 1 ? 0 : size == 2 ? 1 : size == 4 ? 2 : size == 8 ? 3 : -1;
    if (index < 0) return false;
    static const Scalar kSigned[] = {Scalar::I8, Scalar::I16, Scalar::I32, Scalar::I64};
    static const Scalar kUnsigned[] = {Scalar::U8, Scalar::U16, Scalar::U32, Scalar::U64};
    if (kind == 'I')
        scalar = kSigned[index];
    else if (kind == 'U')
        scalar = kUnsigned[index];
    else if (kind == 'F' && (size == 4 || size == 8))
        scalar = size == 4 ? Scalar::F32 : Scalar::F64;
    else
        return false;
    return true;
}

bool parsePcd(const char* begin, const char* end, CloudBody& body, Failure& failure) {
    Lines lines(begin, end);
    std::string_view line;
    std::vector<std::string_view> fields, sizes, types, counts;
    size_t width = 0, height = 0, points = 0;
    bool haveWidth = false, haveHeight = false, havePoints = false;
    for (;;) {
        if (!lines.take(line)) {
            failure.reason = "the PCD header has no DATA line";
            return false;
        }
        std::vector<std::string_view> words = wordsOf(line);
        if (words.empty() || words[0][0] == '#') continue;
        const std::string_view key = words[0];
        words.erase(words.begin());
        bool good = true;
        if (key == "FIELDS")
            fields = words;
        else if (key == "SIZE")
            sizes = words;
        else if (key == "TYPE")
            types = words;
        else if (key == "COUNT")
            counts = words;
        else if (key == "WIDTH")
            good = haveWidth = words.size() == 1 && parseCount(words[0], width);
        else if (key == "HEIGHT")
            good = haveHeight = words.size() == 1 && parseCount(words[0], height);
        else if (key == "POINTS")
            good = havePoints = words.size() == 1 && parseCount(words[0], points);
        else if (key == "DATA") {
            if (words.size() == 1 && (words[0] == "ascii" || words[0] == "binary")) {
                body.binary = words[0] == "binary";
                break;
            }
            failure.reason = "unsupported PCD data " + std::string(line) + " (ascii and binary are read)";
            return false;
        } else
            good = key == "VERSION" || key == "VIEWPOINT";
        if (!good) {
            failure.reason = "bad PCD header line: " + std::string(line);
            return false;
        }
    }
    if (fields.empty() || sizes.size() != fields.size() || types.size() != fields.size() ||
        (!counts.empty() && counts.size() != fields.size())) {
        failure.reason = "the PCD FIELDS, SIZE, TYPE and COUNT lines do not match";
        return false;
    }
    for (size_t i = 0; i < fields.size(); ++i) {
        Column column;
        size_t size = 0;
        if (!parseCount(sizes[i], size) || !pcdScalar(types[i], size, column.type) ||
            (!counts.empty() && (!parseCount(counts[i], column.count) || column.count == 0))) {
            failure.reason = "bad PCD field " + std::string(fields[i]);
            return false;
        }
        const std::string_view name = fields[i];
        column.role = name == "x" ? Role::X : name == "y" ? Role::Y : name == "z" ? Role::Z : Role::NONE;
        if ((name == "rgb" || name == "rgba") && size == 4) column.role = Role::PACKED;
        body.columns.push_back(column);
    }
    if (!hasXyz(body.columns)) {
        failure.reason = "the PCD fields have no x, y and z";
        return false;
    }
    if (!havePoints && !(haveWidth && haveHeight)) {
        failure.reason = "the PCD header gives no number of points";
        return false;
    }
    if (!haveWidth) width = points;
    if (!haveHeight) height = width == 0 ? 0 : 1;
    if (!havePoints) points = width * height;
    if ((height != 0 && width > points / height) || width * height != points) {
        failure.reason = "PCD WIDTH x HEIGHT is not POINTS";
        return false;
    }
    // A grid of one row is a plain list.
    body.width = height > 1 ? width : points;
    body.height = height > 1 ? height : 1;
    body.begin = lines.position();
    body.end = end;
    return true;
}

// XYZ: one point per line, its first three words x, y and z; empty lines and "#" comments are skipped.
bool readXyz(const char* begin, const char* end, Mat& points, Failure& failure) {
    std::vector<std::string_view> pointLines;
    size_t lineNumber = 0;
    for (const char* next = begin; next != end; ++lineNumber) {
        const char* lineEnd =
            static_cast<const char*>(std::memchr(next, '\n', static_cast<size_t>(end - next)));
        if (lineEnd == nullptr) lineEnd = end;
        const std::string_view line(next, static_cast<size_t>(lineEnd - next));
        next = lineEnd == end ? end : lineEnd + 1;
        const std::vector<std::string_view> words = wordsOf(line);
        if (!words.empty() && words[0][0] != '#') pointLines.push_back(line);
    }
    if (pointLines.empty()) return true;
    points.alloc(pointLines.size(), 1, MAT_TYPE::F32_C4, MEM::CPU);
    if (points.cpuBuffer == nullptr) {
        failure.reason = "no memory for " + std::to_string(pointLines.size()) + " points";
        return false;
    }
    static const std::vector<Column> kXyz = {{Scalar::F32, 1, false, Scalar::U8, Role::X},
                                             {Scalar::F32, 1, false, Scalar::U8, Role::Y},
                                             {Scalar::F32, 1, false, Scalar::U8, Role::Z}};
    unsigned char* out = points.cpuBuffer.get();
    for (size_t i = 0; i < pointLines.size(); ++i) {
        TextCursor cursor(pointLines[i].data(), pointLines[i].data() + pointLines[i].size());
        Point point;
        if (!readRow(cursor, kXyz, point)) {
            failure.reason =
                "point " + std::to_string(i) + " is not three numbers: " + std::string(pointLines[i]);
            return false;
        }
        std::memcpy(out + i * sizeof point, &point, sizeof point);
    }
    return true;
}

// True when the first line that is not a comment starts with a PCD keyword.
bool looksLikePcd(const char* begin, const char* end) {
    Lines lines(begin, end);
    std::string_view line;
    while (lines.take(line)) {
        const std::vector<std::string_view> words = wordsOf(line);
        if (words.empty() || words[0][0] == '#') continue;
        return words[0] == "VERSION" || words[0] == "FIELDS";
    }
    return false;
}

bool parseCloud(const char* begin, const char* end, Mat& points, Failure& failure) {
    if (begin == end) {
        failure.reason = "the file is empty";
        return false;
    }
    const std::string_view start(begin, std::min<size_t>(static_cast<size_t>(end - begin), 4));
    CloudBody body;
    if (start == "ply\n" || start == "ply\r") {
        return parsePly(begin, end, body, failure) && readPoints(body, points, failure);
    }
    if (looksLikePcd(begin, end))
        return parsePcd(begin, end, body, failure) && readPoints(body, points, failure);
    return readXyz(begin, end, points, failure);
}

// The whole content of the regular file at `path`.
bool readWhole(const std::string& path, std::string& content, Failure& failure) {
    // Opened without waiting, so that a FIFO is refused by the check below instead of blocking the open.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat info {};
    if (fd < 0 || ::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        failure.reason = fd < 0 ? std::strerror(errno) : "not a regular file";
        if (fd >= 0) ::close(fd);
        return false;
    }
    bool read = true;
    try {
        content.resize(static_cast<size_t>(info.st_size));
    } catch (const std::exception&) {  // bad_alloc, or length_error past what a string can hold
        read = false;
        failure.reason = "no memory for the file";
    }
    size_t done = 0;
    while (read && done < content.size()) {
        const ssize_t got = ::read(fd, content.data() + done, content.size() - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            failure.reason = std::strerror(errno);
            read = false;
        }
        if (got <= 0) break;
        done += static_cast<size_t>(got);
    }
    ::close(fd);
    content.resize(done);  // a file that shrank meanwhile is read as it now is
    return read;
}

}  // namespace

ERROR_CODE readPointCloud(const String& path, Mat& cloud) {
    const std::string name = path.str();
    std::string content;
    Failure failure;
    Mat points;
    if (!readWhole(name, content, failure) ||
        !parseCloud(content.data(), content.data() + content.size(), points, failure)) {
        detail::logError("{}readPointCloud {}: {}", "[Mat] ", name, failure.reason);
        return ERROR_CODE::FAILURE;
    }
    if (points.initialized)
        points.move(cloud);
    else
        cloud.free(MEM_BOTH);
    return ERROR_CODE::SUCCESS;
}

}  // namespace vela
