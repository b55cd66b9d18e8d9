// Point clouds from PLY, PCD and XYZ files, read in blocks of a fixed size: memory beyond the points is one
// block (or the longest header, line or row when that is longer). Binary rows of one size are read at fixed
// offsets, whole rows of a block at a time; other values are taken through a cursor over the complete part
// of the block, and a row it runs out of is read again once more of the file is there. No input makes the
// reader look past what it has read. A compressed PCD holds its fields one after another in one LZF stream,
// which is read and expanded whole once its sizes agree with the header. Points are filled into a new Mat
// that replaces the caller's only once all of them read.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <lzf.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

// Binary values, in either byte order. A read past the end fails and marks the cursor short: the row may
// still be complete once more of the file is there.
class BinaryCursor {
  public:
    BinaryCursor(const char* begin, const char* end, bool bigEndian)
        : next(begin), end(end), bigEndian(bigEndian) {}

    bool read(Scalar type, Value& value) {
        const size_t size = sizeOf(type);
        if (static_cast<size_t>(end - next) < size) return runShort();
        value = valueAt(type, next, bigEndian);
        next += size;
        return true;
    }
    bool skip(Scalar type, uint64_t items) {
        const size_t size = sizeOf(type);
        if (items > static_cast<size_t>(end - next) / size) return runShort();
        next += items * size;
        return true;
    }
    const char* position() const { return next; }
    bool isShort() const { return ranShort; }

  private:
    bool runShort() {
        ranShort = true;
        return false;
    }

    const char* next;
    const char* end;
    bool bigEndian;
    bool ranShort = false;
};

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

// Text values separated by blanks or line breaks; a value must fill its whole word. The text given ends
// at a blank or at the end of the file, so a word is never cut; running out of words marks the cursor
// short.
class TextCursor {
  public:
    TextCursor(const char* begin, const char* end) : next(begin), end(end) {}

    bool read(Scalar type, Value& value) {
        while (next != end && isBlank(*next))
            ++next;
        if (next == end) {
            ranShort = true;
            return false;
        }
        const char* word = next;
        while (next != end && !isBlank(*next))
            ++next;
        // from_chars takes no plus sign.
        if (*word == '+' && next - word > 1 && word[1] != '-') ++word;
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
    bool isShort() const { return ranShort; }

  private:
    const char* next;
    const char* end;
    bool ranShort = false;
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

// `a + b` and `a * b` into `result`; false when they overflow.
bool addTo(size_t& result, size_t a, size_t b) {
    return !__builtin_add_overflow(a, b, &result);
}
bool multiplyTo(size_t& result, size_t a, size_t b) {
    return !__builtin_mul_overflow(a, b, &result);
}

// The least a row of `columns` takes: its bytes, or in text one character and one separator per value;
// false when that overflows.
bool minimumRowBytes(const std::vector<Column>& columns, bool binary, size_t& bytes) {
    bytes = 0;
    for (const Column& column : columns) {
        const size_t values = column.list ? 1 : column.count;
        size_t columnBytes = 0;
        if (!multiplyTo(columnBytes, values,
                        binary ? sizeOf(column.list ? column.countType : column.type) : 2) ||
            !addTo(bytes, bytes, columnBytes))
            return false;
    }
    return true;
}

// A failure to report: the reason, told to the log once.
struct Failure {
    std::string reason;
};

// Reads are made in blocks of this size; a header, a text line or a row longer than that grows the buffer.
constexpr size_t kBlockBytes = size_t{1} << 19;
// A header that has not ended within this many bytes is refused rather than read on.
constexpr size_t kMaxHeaderBytes = size_t{1} << 20;

// A regular file read in blocks: a window of bytes read and not yet consumed, refilled on request.
class Source {
  public:
    Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    ~Source() {
        if (fd >= 0) ::close(fd);
    }

    // Opens `path` without waiting on it: a FIFO or a device would block an open or a read, so anything
    // but a regular file is refused before the first blocking call.
    bool open(const std::string& path, Failure& failure) {
        fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        struct stat info {};
        if (fd < 0 || ::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
            failure.reason = fd < 0 ? std::strerror(errno) : "not a regular file";
            return false;
        }
        const int flags = ::fcntl(fd, F_GETFL);
        if (flags < 0 || ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0) {
            failure.reason = std::strerror(errno);
            return false;
        }
        size = static_cast<uint64_t>(info.st_size);
        return grow(kBlockBytes, failure) && more(failure);
    }

    const char* begin() const { return buffer.get() + head; }
    const char* end() const { return buffer.get() + tail; }
    size_t available() const { return tail - head; }
    // True once the window holds the rest of the file.
    bool atEnd() const { return ended; }
    // The bytes of the file after `at`, a position in the window, as the file's size said at opening.
    uint64_t bytesAfter(const char* at) const {
        const uint64_t offset = offsetOfBegin + static_cast<uint64_t>(at - begin());
        return offset < size ? size - offset : 0;
    }
    // Drops the window's bytes before `to`.
    void consume(const char* to) {
        offsetOfBegin += static_cast<uint64_t>(to - begin());
        head = static_cast<size_t>(to - buffer.get());
    }
    // Reads more of the file after the window's bytes, growing the buffer when they fill it.
    bool more(Failure& failure) {
        if (ended) return true;
        if (head > 0) {
            std::memmove(buffer.get(), buffer.get() + head, tail - head);
            tail -= head;
            head = 0;
        }
        if (tail == capacity && !grow(capacity * 2, failure)) return false;
        for (;;) {
            const ssize_t got = ::read(fd, buffer.get() + tail, capacity - tail);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) {
                failure.reason = std::strerror(errno);
                return false;
            }
            tail += static_cast<size_t>(got);
            ended = got == 0;
            return true;
        }
    }
    // More until the window holds `bytes` or the rest of the file.
    bool ensure(size_t bytes, Failure& failure) {
        while (available() < bytes && !ended)
            if (!more(failure)) return false;
        return true;
    }
    // Moves the next `bytes` of the file into `to`: the window's first, then straight from the file.
    bool take(char* to, size_t bytes, Failure& failure) {
        const size_t buffered = std::min(bytes, available());
        std::memcpy(to, begin(), buffered);
        consume(begin() + buffered);
        for (size_t done = buffered; done < bytes;) {
            const ssize_t got = ::read(fd, to + done, bytes - done);
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) {
                failure.reason = got < 0 ? std::strerror(errno) : "the file ended early";
                return false;
            }
            done += static_cast<size_t>(got);
            offsetOfBegin += static_cast<uint64_t>(got);
        }
        return true;
    }
    // Back to the start of the file, for a second pass.
    bool rewind(Failure& failure) {
        if (::lseek(fd, 0, SEEK_SET) != 0) {
            failure.reason = std::strerror(errno);
            return false;
        }
        head = tail = 0;
        offsetOfBegin = 0;
        ended = false;
        return more(failure);
    }

  private:
    bool grow(size_t newCapacity, Failure& failure) {
        try {
            std::unique_ptr<char[]> larger(new char[newCapacity]);
            if (tail > 0) std::memcpy(larger.get(), buffer.get(), tail);
            buffer = std::move(larger);
            capacity = newCapacity;
            return true;
        } catch (const std::bad_alloc&) {
            failure.reason = "no memory for a block of " + std::to_string(newCapacity) + " bytes";
            return false;
        }
    }

    int fd = -1;
    std::unique_ptr<char[]> buffer;
    size_t capacity = 0;
    size_t head = 0;
    size_t tail = 0;
    bool ended = false;
    uint64_t size = 0;
    uint64_t offsetOfBegin = 0;  // the file offset of begin()
};

// Past the last blank of the window, where no word is cut; the window's end once it holds the whole rest.
const char* afterLastBlank(const Source& source) {
    if (source.atEnd()) return source.end();
    for (const char* at = source.end(); at != source.begin(); --at)
        if (isBlank(at[-1])) return at;
    return source.begin();
}

// The rows nearly every binary file has: little-endian float x, y and z, and no colour, a packed colour word
// or red, green and blue bytes, each once; with the offsets of those values in the row.
struct CommonLayout {
    enum Colour { NONE, PACKED, BYTES };
    size_t xyz[3] = {0, 0, 0};
    size_t rgb[3] = {0, 0, 0};  ///< the packed word's offset first
    Colour colour = NONE;
};

bool commonLayout(const std::vector<Column>& columns, CommonLayout& layout) {
    int seen[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    size_t offset = 0;
    for (const Column& column : columns) {
        const int role = static_cast<int>(column.role);
        ++seen[role];
        if (column.role == Role::X || column.role == Role::Y || column.role == Role::Z) {
            if (column.type != Scalar::F32) return false;
            layout.xyz[role - static_cast<int>(Role::X)] = offset;
        } else if (column.role == Role::RED || column.role == Role::GREEN || column.role == Role::BLUE) {
            if (column.type != Scalar::U8) return false;
            layout.rgb[role - static_cast<int>(Role::RED)] = offset;
        } else if (column.role == Role::PACKED) {
            layout.rgb[0] = offset;
        }
        offset += column.count * sizeOf(column.type);
    }
    const auto once = [&](Role role) { return seen[static_cast<int>(role)] == 1; };
    const auto none = [&](Role role) { return seen[static_cast<int>(role)] == 0; };
    if (!once(Role::X) || !once(Role::Y) || !once(Role::Z)) return false;
    if (none(Role::RED) && none(Role::GREEN) && none(Role::BLUE) &&
        seen[static_cast<int>(Role::PACKED)] <= 1) {
        layout.colour = once(Role::PACKED) ? CommonLayout::PACKED : CommonLayout::NONE;
        return true;
    }
    layout.colour = CommonLayout::BYTES;
    return once(Role::RED) && once(Role::GREEN) && once(Role::BLUE) && none(Role::PACKED);
}

// A float's bits as they come back through a double: a signalling NaN turns quiet, as in the general path.
inline uint32_t quieted(uint32_t bits) {
    return bits | static_cast<uint32_t>((bits & 0x7FFFFFFFu) > 0x7F800000u) << 22;
}

// The colour bytes red, green, blue, 0 of a row of the common layout, as a little-endian word.
template <CommonLayout::Colour kColour>
uint32_t colourWord(const char* row, const CommonLayout& layout) {
    if constexpr (kColour == CommonLayout::PACKED) {
        uint32_t packed;  // 0x??RRGGBB
        std::memcpy(&packed, row + layout.rgb[0], 4);
        return (packed >> 16 & 0xFFu) | (packed & 0xFF00u) | (packed & 0xFFu) << 16;
    } else if constexpr (kColour == CommonLayout::BYTES) {
        return uint32_t{static_cast<unsigned char>(row[layout.rgb[0]])} |
               uint32_t{static_cast<unsigned char>(row[layout.rgb[1]])} << 8 |
               uint32_t{static_cast<unsigned char>(row[layout.rgb[2]])} << 16;
    }
    return 0;
}

// `rows` rows of the common layout from `row` on, stored as points `first` onwards.
template <CommonLayout::Colour kColour, typename Store>
void readCommonRows(const char* row, size_t rows, size_t rowBytes, const CommonLayout& layout, size_t first,
                    Store& store) {
    size_t k = 0;
#if defined(__SSE2__)
    // x, y and z side by side: one 16-byte load where 16 bytes are left from x to the last row's end, the
    // NaN test four lanes at a time, the colour word into the fourth lane.
    if (layout.xyz[1] == layout.xyz[0] + 4 && layout.xyz[2] == layout.xyz[0] + 8) {
        // The colour right after z (as vela and most tools write it) is in the same load: a packed word has
        // its red and blue bytes swapped in place, colour bytes keep the lowest three.
        const bool adjacent = (kColour == CommonLayout::PACKED && layout.rgb[0] == layout.xyz[0] + 12) ||
                              (kColour == CommonLayout::BYTES && layout.rgb[0] == layout.xyz[0] + 12 &&
                               layout.rgb[1] == layout.rgb[0] + 1 && layout.rgb[2] == layout.rgb[0] + 2);
        const __m128i magnitude = _mm_set1_epi32(0x7FFFFFFF);
        const __m128i infinity = _mm_set1_epi32(0x7F800000);
        const __m128i quiet = _mm_setr_epi32(0x00400000, 0x00400000, 0x00400000, 0);
        const __m128i xyzLanes = _mm_setr_epi32(-1, -1, -1, 0);
        const __m128i colourLane = _mm_setr_epi32(0, 0, 0, 0x00FFFFFF);
        const __m128i byte = _mm_set1_epi32(0xFF);
        const __m128i middle = _mm_set1_epi32(0xFF00);
        for (; k < rows && (rows - k) * rowBytes - layout.xyz[0] >= 16; ++k, row += rowBytes) {
            const __m128i loaded = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + layout.xyz[0]));
            const __m128i nan = _mm_cmpgt_epi32(_mm_and_si128(loaded, magnitude), infinity);
            __m128i words = _mm_and_si128(_mm_or_si128(loaded, _mm_and_si128(nan, quiet)), xyzLanes);
            if (adjacent && kColour == CommonLayout::PACKED) {
                const __m128i swapped =
                    _mm_or_si128(_mm_or_si128(_mm_and_si128(_mm_srli_epi32(loaded, 16), byte),
                                              _mm_and_si128(loaded, middle)),
                                 _mm_slli_epi32(_mm_and_si128(loaded, byte), 16));
                words = _mm_or_si128(words, _mm_and_si128(swapped, colourLane));
            } else if (adjacent) {
                words = _mm_or_si128(words, _mm_and_si128(loaded, colourLane));
            } else {
                const auto colour = static_cast<int>(colourWord<kColour>(row, layout));
                words = _mm_or_si128(words, _mm_slli_si128(_mm_cvtsi32_si128(colour), 12));
            }
            Point point;
            _mm_storeu_si128(reinterpret_cast<__m128i*>(&point), words);
            store(first + k, point);
        }
    }
#endif
    for (; k < rows; ++k, row += rowBytes) {
        uint32_t words[4] = {0, 0, 0, colourWord<kColour>(row, layout)};
        for (size_t axis = 0; axis < 3; ++axis) {
            std::memcpy(&words[axis], row + layout.xyz[axis], 4);
            words[axis] = quieted(words[axis]);
        }
        Point point;
        std::memcpy(&point, words, sizeof point);
        store(first + k, point);
    }
}

// Calls `store(i, point)` for `count` rows of `columns` from the source's window on. False at the first row
// that is malformed or missing (`failedAt`), or with `failure` set when the file cannot be read.
template <typename Store>
bool readRows(Source& source, const std::vector<Column>& columns, size_t count, bool binary, bool bigEndian,
              Store store, size_t& failedAt, Failure& failure) {
    size_t i = 0;
    if (binary &&
        std::none_of(columns.begin(), columns.end(), [](const Column& column) { return column.list; })) {
        // Rows of one size: whole rows of each block are read at fixed offsets, only the values a point
        // takes; one check per block.
        struct Field {
            const Column* column;
            size_t offset;
        };
        std::vector<Field> fields;
        size_t rowBytes = 0;
        for (const Column& column : columns) {
            if (column.role != Role::NONE) fields.push_back({&column, rowBytes});
            rowBytes += column.count * sizeOf(column.type);  // cannot overflow: checked with the header
        }
        CommonLayout common;
        const bool isCommon = !bigEndian && commonLayout(columns, common);
        while (i < count) {
            const size_t rows = std::min(count - i, source.available() / rowBytes);
            if (rows == 0) {
                if (source.atEnd()) break;
                if (!source.more(failure)) return false;
                continue;
            }
            const char* row = source.begin();
            if (isCommon && common.colour == CommonLayout::NONE)
                readCommonRows<CommonLayout::NONE>(row, rows, rowBytes, common, i, store);
            else if (isCommon && common.colour == CommonLayout::PACKED)
                readCommonRows<CommonLayout::PACKED>(row, rows, rowBytes, common, i, store);
            else if (isCommon)
                readCommonRows<CommonLayout::BYTES>(row, rows, rowBytes, common, i, store);
            else
                for (size_t k = 0; k < rows; ++k) {
                    Point point;
                    for (const Field& field : fields)
                        assign(*field.column,
                               valueAt(field.column->type, row + k * rowBytes + field.offset, bigEndian),
                               point);
                    store(i + k, point);
                }
            i += rows;
            source.consume(row + rows * rowBytes);
        }
        failedAt = i;
        return i == count;
    }
    // Rows of varying size are read value by value from the complete part of the window; a row that runs
    // out of it is read again once more of the file is there.
    const auto fill = [&](auto cursorOf) {
        while (i < count) {
            auto cursor = cursorOf();
            const char* rowStart = cursor.position();
            for (; i < count; ++i) {
                rowStart = cursor.position();
                Point point;
                if (!readRow(cursor, columns, point)) break;
                store(i, point);
            }
            if (i == count) {
                source.consume(cursor.position());
                return true;
            }
            if (!cursor.isShort() || source.atEnd()) break;
            source.consume(rowStart);
            if (!source.more(failure)) return false;
        }
        failedAt = i;
        return i == count;
    };
    if (binary) return fill([&] { return BinaryCursor(source.begin(), source.end(), bigEndian); });
    return fill([&] { return TextCursor(source.begin(), afterLastBlank(source)); });
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

struct PlyElement {
    std::string_view name;
    size_t count = 0;
    std::vector<Column> columns;
};

// What a header says: the grid of the points and how to read them.
struct CloudBody {
    size_t width = 0;
    size_t height = 0;
    std::vector<Column> columns;
    bool binary = false;
    bool compressed = false;  ///< PCD binary_compressed: the fields one after another, LZF-compressed
    bool bigEndian = false;
    std::vector<PlyElement> before;  ///< PLY elements ahead of the vertices, read and dropped
    const char* begin = nullptr;     ///< the first byte after the header
};

// Parses a PLY header from the complete lines of the window; `more` when it has not ended there.
bool parsePly(const char* begin, const char* end, CloudBody& body, Failure& failure, bool& more) {
    Lines lines(begin, end);
    std::string_view line;
    lines.take(line);  // "ply", checked by the caller
    std::vector<PlyElement> elements;
    bool formatSeen = false;
    for (;;) {
        if (!lines.take(line)) {
            more = true;
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
    body.begin = lines.position();
    for (PlyElement& element : elements) {
        size_t rowBytes = 0;
        if (!minimumRowBytes(element.columns, body.binary, rowBytes)) {
            failure.reason = "the rows of element " + std::string(element.name) + " overflow";
            return false;
        }
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
        body.before.push_back(element);
    }
    failure.reason = "the PLY file has no vertex element";
    return false;
}

// Parses a PCD header from the complete lines of the window; `more` when it has not ended there.
bool parsePcd(const char* begin, const char* end, CloudBody& body, Failure& failure, bool& more) {
    Lines lines(begin, end);
    std::string_view line;
    std::vector<std::string_view> fields, sizes, types, counts;
    size_t width = 0, height = 0, points = 0;
    bool haveWidth = false, haveHeight = false, havePoints = false;
    for (;;) {
        if (!lines.take(line)) {
            more = true;
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
            if (words.size() == 1 &&
                (words[0] == "ascii" || words[0] == "binary" || words[0] == "binary_compressed")) {
                body.binary = words[0] != "ascii";
                body.compressed = words[0] == "binary_compressed";
                break;
            }
            failure.reason = "unsupported PCD data " + std::string(line) +
                             " (ascii, binary and binary_compressed are read)";
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
    // Every offset in a row is then below the row's size, which fits a size_t.
    size_t rowBytes = 0;
    if (!minimumRowBytes(body.columns, body.binary, rowBytes)) {
        failure.reason = "the PCD row of SIZE x COUNT bytes overflows";
        return false;
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

// A new F32_C4 host Mat of `width` x `height` points, or false with the reason.
bool allocatePoints(size_t width, size_t height, Mat& points, Failure& failure) {
    points.alloc(width, height, MAT_TYPE::F32_C4, MEM::CPU);
    if (points.cpuBuffer != nullptr) {
        // The points are written once, front to back: on huge pages a large cloud takes one page fault
        // where 4 KiB pages take 512. Only a hint, which the kernel may ignore.
        constexpr size_t kHugePage = size_t{1} << 21;
        unsigned char* const start = points.cpuBuffer.get();
        const size_t bytes = width * height * sizeof(Point);
        const size_t skip = (kHugePage - reinterpret_cast<uintptr_t>(start) % kHugePage) % kHugePage;
        if (bytes > skip + kHugePage)
            ::madvise(start + skip, (bytes - skip) & ~(kHugePage - 1), MADV_HUGEPAGE);
        return true;
    }
    failure.reason = "no memory for " + std::to_string(width * height) + " points";
    return false;
}

// Stores each point at its index in `points`.
struct StoreInto {
    unsigned char* out;
    void operator()(size_t i, const Point& point) const {
        std::memcpy(out + i * sizeof point, &point, sizeof point);
    }
};

// PCD binary_compressed: the sizes of the LZF stream and of what it expands to (little-endian 32-bit), the
// stream, and in it all values of the first field, then all of the second, and so on.
bool readCompressed(Source& source, const CloudBody& body, Mat& points, Failure& failure) {
    const size_t count = body.width * body.height;
    if (count == 0) return true;
    if (!source.ensure(8, failure)) return false;
    if (source.available() < 8) {
        failure.reason = "truncated: the compressed PCD data has no sizes";
        return false;
    }
    uint32_t sizes[2];
    std::memcpy(sizes, source.begin(), sizeof sizes);  // the host is little-endian, as the file
    source.consume(source.begin() + sizeof sizes);
    const uint32_t compressedBytes = sizes[0];
    const uint32_t expandedBytes = sizes[1];
    size_t rowBytes = 0;
    size_t dataBytes = 0;
    if (!minimumRowBytes(body.columns, true, rowBytes) || !multiplyTo(dataBytes, count, rowBytes) ||
        dataBytes != expandedBytes) {
        failure.reason = "the compressed PCD data expands to " + std::to_string(expandedBytes) +
                         " bytes, not the " + std::to_string(count) + " points of " +
                         std::to_string(rowBytes) + " bytes the header gives";
        return false;
    }
    if (compressedBytes > source.bytesAfter(source.begin())) {
        failure.reason = "truncated: the compressed PCD data of " + std::to_string(compressedBytes) +
                         " bytes cannot fit in the " + std::to_string(source.bytesAfter(source.begin())) +
                         " bytes left";
        return false;
    }
    // LZF expands at most 88 times: a back reference of 3 bytes repeats at most 264.
    if (uint64_t{expandedBytes} > uint64_t{compressedBytes} * 88) {
        failure.reason = "the compressed PCD data of " + std::to_string(compressedBytes) +
                         " bytes cannot expand to " + std::to_string(expandedBytes);
        return false;
    }
    std::unique_ptr<char[]> compressed;
    std::unique_ptr<char[]> data;
    try {
        compressed.reset(new char[compressedBytes]);
        data.reset(new char[expandedBytes]);
    } catch (const std::bad_alloc&) {
        failure.reason = "no memory for the compressed PCD data";
        return false;
    }
    if (!source.take(compressed.get(), compressedBytes, failure)) return false;
    // lzf_decompress stops at the end of either buffer: a stream that expands to more fails, one that
    // expands to less returns less.
    const unsigned int expanded =
        lzf_decompress(compressed.get(), compressedBytes, data.get(), expandedBytes);
    compressed.reset();
    if (expanded != expandedBytes) {
        failure.reason = "the compressed PCD data is corrupt or does not expand to " +
                         std::to_string(expandedBytes) + " bytes";
        return false;
    }
    if (!allocatePoints(body.width, body.height, points, failure)) return false;
    const StoreInto store{points.cpuBuffer.get()};
    // Each field is an array of `count` values of its size x COUNT bytes; a point takes the first value.
    struct Field {
        const Column* column;
        const char* values;
        size_t stride;
    };
    std::vector<Field> fields;
    const char* values = data.get();
    for (const Column& column : body.columns) {
        const size_t stride = column.count * sizeOf(column.type);
        if (column.role != Role::NONE) fields.push_back({&column, values, stride});
        values += stride * count;  // within data: the sizes add up to expandedBytes
    }
    for (size_t i = 0; i < count; ++i) {
        Point point;
        for (const Field& field : fields)
            assign(*field.column, valueAt(field.column->type, field.values + i * field.stride, false), point);
        store(i, point);
    }
    return true;
}

// The points of a PLY or PCD body whose header has been read; the source's window starts after it.
bool readBody(Source& source, const CloudBody& body, Mat& points, Failure& failure) {
    size_t failedAt = 0;
    const auto skip = [](size_t, const Point&) {};
    for (const PlyElement& element : body.before) {
        if (element.columns.empty()) continue;
        if (!readRows(source, element.columns, element.count, body.binary, body.bigEndian, skip, failedAt,
                      failure)) {
            if (failure.reason.empty()) failure.reason = "truncated element " + std::string(element.name);
            return false;
        }
    }
    if (body.compressed) return readCompressed(source, body, points, failure);
    const size_t count = body.width * body.height;
    if (count == 0) return true;
    // Refuse counts the file cannot hold before asking for memory for them.
    size_t rowBytes = 0;
    minimumRowBytes(body.columns, body.binary, rowBytes);  // checked with the header
    const uint64_t left = source.bytesAfter(source.begin());
    const uint64_t available = left + (body.binary ? 0 : 1);
    if (rowBytes == 0 || count > available / rowBytes) {
        failure.reason = "truncated: " + std::to_string(count) + " points cannot fit in the " +
                         std::to_string(left) + " bytes left";
        return false;
    }
    if (!allocatePoints(body.width, body.height, points, failure)) return false;
    if (!readRows(source, body.columns, count, body.binary, body.bigEndian, StoreInto{points.cpuBuffer.get()},
                  failedAt, failure)) {
        if (failure.reason.empty())
            failure.reason = "truncated or malformed at point " + std::to_string(failedAt) + " of " +
                             std::to_string(count);
        return false;
    }
    return true;
}

// Calls `visit(line)` for each line of the file from the source's window on whose first word is not a "#"
// comment; stops at the first visit that returns false.
template <typename Visit>
bool forEachPointLine(Source& source, Visit visit, Failure& failure) {
    for (;;) {
        const char* stop = source.end();
        if (!source.atEnd()) {
            while (stop != source.begin() && stop[-1] != '\n')
                --stop;
        }
        for (const char* next = source.begin(); next != stop;) {
            const char* lineEnd =
                static_cast<const char*>(std::memchr(next, '\n', static_cast<size_t>(stop - next)));
            if (lineEnd == nullptr) lineEnd = stop;
            const std::string_view line(next, static_cast<size_t>(lineEnd - next));
            next = lineEnd == stop ? stop : lineEnd + 1;
            size_t first = 0;
            while (first < line.size() && isBlank(line[first]))
                ++first;
            if (first < line.size() && line[first] != '#' && !visit(line)) return false;
        }
        source.consume(stop);
        if (source.atEnd()) return true;
        if (!source.more(failure)) return false;
    }
}

// XYZ: one point per line, its first three words x, y and z; empty lines and "#" comments are skipped.
// The lines are counted first, so that the points go straight into a Mat of their number.
bool readXyz(Source& source, Mat& points, Failure& failure) {
    size_t count = 0;
    if (!forEachPointLine(
            source, [&](std::string_view) { return ++count, true; }, failure))
        return false;
    if (count == 0) return true;
    if (!source.rewind(failure) || !allocatePoints(count, 1, points, failure)) return false;
    static const std::vector<Column> kXyz = {{Scalar::F32, 1, false, Scalar::U8, Role::X},
                                             {Scalar::F32, 1, false, Scalar::U8, Role::Y},
                                             {Scalar::F32, 1, false, Scalar::U8, Role::Z}};
    const StoreInto store{points.cpuBuffer.get()};
    size_t i = 0;
    const bool read = forEachPointLine(
        source,
        [&](std::string_view line) {
            TextCursor cursor(line.data(), line.data() + line.size());
            Point point;
            if (i == count) {
                failure.reason = "the file changed while it was read";
                return false;
            }
            if (!readRow(cursor, kXyz, point)) {
                failure.reason = "point " + std::to_string(i) + " is not three numbers: " + std::string(line);
                return false;
            }
            store(i++, point);
            return true;
        },
        failure);
    if (read && i != count) failure.reason = "the file changed while it was read";
    return read && i == count;
}

// Reads the header from the window, reading more until it ends, then the points.
bool readCloud(Source& source, Mat& points, Failure& failure) {
    if (source.available() == 0) {
        failure.reason = "the file is empty";
        return false;
    }
    const std::string_view start(source.begin(), std::min<size_t>(source.available(), 4));
    const bool ply = start == "ply\n" || start == "ply\r";
    for (;;) {
        if (!ply && !looksLikePcd(source.begin(), source.end())) return readXyz(source, points, failure);
        CloudBody body;
        bool more = false;
        if (ply ? parsePly(source.begin(), source.end(), body, failure, more)
                : parsePcd(source.begin(), source.end(), body, failure, more)) {
            failure.reason.clear();
            source.consume(body.begin);
            return readBody(source, body, points, failure);
        }
        if (!more || source.atEnd() || source.available() >= kMaxHeaderBytes || !source.more(failure))
            return false;
    }
}

}  // namespace

ERROR_CODE readPointCloud(const String& path, Mat& cloud) {
    const std::string name = path.str();
    Failure failure;
    Mat points;
    Source source;
    if (!source.open(name, failure) || !readCloud(source, points, failure)) {
        detail::logError("{}readPointCloud {}: {}", "[Mat] ", name, failure.reason);
        return ERROR_CODE::FAILURE;
    }
    if (points.initialized)
        static_cast<void>(points.move(cloud));  // points owns what it read
    else
        cloud.free(MEM_BOTH);
    return ERROR_CODE::SUCCESS;
}

}  // namespace vela
