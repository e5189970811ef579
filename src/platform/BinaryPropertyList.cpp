#include "BinaryPropertyList.h"

#include "PropertyListLimits.h"

#include <QVarLengthArray>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace platform::binaryplist {
namespace {

constexpr char Magic[] = "bplist00";
constexpr quint64 MagicSize = 8;
constexpr quint64 TrailerSize = 32;

enum Kind : uint8_t {
    Simple = 0x0, Integer = 0x1, Real = 0x2, Date = 0x3, Data = 0x4, Ascii = 0x5, Utf16 = 0x6, Array = 0xA,
    Dictionary = 0xD,
};

// One object's kind and where its payload lies: `count` bytes for data
// and ASCII text, UTF-16 units, or references (a dictionary's keys, then
// its values).
struct Object
{
    uint8_t kind = Simple;
    quint64 start = 0;
    quint64 count = 0;
};

bool isWidth(int width)
{
    return width == 1 || width == 2 || width == 4 || width == 8;
}

// The object table of a binary property list, read only where asked.
class Objects
{
public:
    explicit Objects(QByteArrayView bytes)
        : m_data(reinterpret_cast<const uint8_t *>(bytes.data()))
        , m_size(quint64(bytes.size()))
    {
    }

    bool readTrailer()
    {
        if (m_size < MagicSize + TrailerSize || std::memcmp(m_data, Magic, MagicSize) != 0)
            return false;
        const uint8_t *trailer = m_data + m_size - TrailerSize;
        m_offsetSize = trailer[6];
        m_refSize = trailer[7];
        m_count = number(trailer + 8, 8);
        m_root = number(trailer + 16, 8);
        m_table = number(trailer + 24, 8);
        const quint64 tableEnd = m_size - TrailerSize;
        return isWidth(m_offsetSize) && isWidth(m_refSize) && m_count > 0 && m_root < m_count && m_table >= MagicSize
            && m_table < tableEnd && m_count <= (tableEnd - m_table) / quint64(m_offsetSize);
    }

    quint64 count() const { return m_count; }
    quint64 root() const { return m_root; }

    // Object `index`, wholly inside the object area (between the header and
    // the offset table) and of a kind information files hold.
    bool read(quint64 index, Object &object) const
    {
        quint64 at = number(m_data + m_table + index * quint64(m_offsetSize), m_offsetSize);
        if (at < MagicSize || at >= m_table)
            return false;
        const uint8_t marker = m_data[at++];
        object.kind = marker >> 4;
        object.start = at;
        object.count = marker & 0x0F;
        switch (object.kind) {
        case Simple: // false, true
            object.count = 0;
            return marker == 0x08 || marker == 0x09;
        case Integer:
            return object.count <= 3 && fits(at, quint64(1) << object.count);
        case Real:
            return (object.count == 2 || object.count == 3) && fits(at, quint64(1) << object.count);
        case Date:
            return object.count == 3 && fits(at, 8);
        case Data:
        case Ascii:
        case Utf16:
        case Array:
        case Dictionary:
            break;
        default:
            return false;
        }
        if (object.count == 0x0F) {
            // The length follows as an integer object: 0x1n, then 2^n bytes.
            if (at >= m_table || (m_data[at] >> 4) != Integer || (m_data[at] & 0x0F) > 3)
                return false;
            const int width = 1 << (m_data[at] & 0x0F);
            if (!fits(at + 1, quint64(width)))
                return false;
            object.count = number(m_data + at + 1, width);
            object.start = at + 1 + quint64(width);
        }
        if (object.kind == Dictionary) {
            if (object.count > m_size)
                return false;
            object.count *= 2;
        }
        const quint64 unit = object.kind == Utf16 ? 2 : object.kind >= Array ? quint64(m_refSize) : 1;
        if (object.count > m_size || !fits(object.start, object.count * unit))
            return false;
        return object.kind != Utf16 || wellFormedUtf16(object);
    }

    // The `index`th reference of a container; may name no object.
    quint64 reference(const Object &container, quint64 index) const
    {
        return number(m_data + container.start + index * quint64(m_refSize), m_refSize);
    }

    // ASCII text up to its first NUL, or the whole of UTF-16 text but an
    // opening U+FEFF, which QString::fromUtf8 drops from the other.
    QString text(const Object &string) const
    {
        const char *bytes = reinterpret_cast<const char *>(m_data + string.start);
        if (string.kind == Ascii)
            return QString::fromUtf8(bytes, qsizetype(::strnlen(bytes, size_t(string.count))));
        const quint64 first = unit(string, 0) == 0xFEFF ? 1 : 0;
        QString text(qsizetype(string.count - first), Qt::Uninitialized);
        QChar *out = text.data();
        for (quint64 i = first; i < string.count; ++i)
            *out++ = QChar(unit(string, i));
        return text;
    }

    // Whether a string equals `key` up to the string's first NUL.
    bool textEquals(const Object &string, QLatin1StringView key) const
    {
        quint64 length = 0;
        if (string.kind == Ascii) {
            length = ::strnlen(reinterpret_cast<const char *>(m_data + string.start), size_t(string.count));
            return length == quint64(key.size()) && std::memcmp(m_data + string.start, key.data(), length) == 0;
        }
        while (length < string.count && unit(string, length) != 0)
            ++length;
        if (length != quint64(key.size()))
            return false;
        for (quint64 i = 0; i < length; ++i) {
            if (unit(string, i) != uchar(key[qsizetype(i)].toLatin1()))
                return false;
        }
        return true;
    }

private:
    static quint64 number(const uint8_t *bytes, int width)
    {
        quint64 value = 0;
        for (int i = 0; i < width; ++i)
            value = (value << 8) | bytes[i];
        return value;
    }

    bool fits(quint64 start, quint64 length) const { return start <= m_table && length <= m_table - start; }

    char16_t unit(const Object &string, quint64 index) const
    {
        return char16_t(number(m_data + string.start + 2 * index, 2));
    }

    // Empty UTF-16 text is refused as other readers refuse it.
    bool wellFormedUtf16(const Object &string) const
    {
        if (string.count == 0)
            return false;
        for (quint64 i = 0; i < string.count; ++i) {
            const char16_t u = unit(string, i);
            if (QChar::isLowSurrogate(u))
                return false;
            if (QChar::isHighSurrogate(u) && (++i == string.count || !QChar::isLowSurrogate(unit(string, i))))
                return false;
        }
        return true;
    }

    const uint8_t *m_data;
    quint64 m_size;
    int m_offsetSize = 0;
    int m_refSize = 0;
    quint64 m_count = 0;
    quint64 m_root = 0;
    quint64 m_table = 0;
};

bool isString(const Object &object)
{
    return object.kind == Ascii || object.kind == Utf16;
}

// Reads every object the root reaches, each once, with an explicit stack
// no deeper than MaximumDepth; a shared object's depth and expanded size
// are remembered, so sharing cannot hide a deep or huge tree.
bool isSound(const Objects &objects)
{
    using plistlimits::MaximumDepth;
    using plistlimits::MaximumNodes;
    enum : uint8_t { Unseen, Open, Done };
    struct Seen
    {
        qint64 nodes = 0;
        uint8_t state = Unseen;
        uint8_t height = 0;
    };
    // Information files hold a few dozen objects: no allocation for those.
    QVarLengthArray<Seen, 64> seen(qsizetype(objects.count()));

    struct Frame
    {
        quint64 index;
        Object object;
        quint64 next = 0;
        uint8_t height = 1;
        qint64 nodes = 1;
    };
    QVarLengthArray<Frame, 16> stack;
    auto open = [&](quint64 index) {
        Frame frame{index, {}};
        if (!objects.read(index, frame.object) || stack.size() >= MaximumDepth)
            return false;
        if (frame.object.kind != Array && frame.object.kind != Dictionary)
            frame.object.count = 0; // a scalar: nothing to follow
        seen[index].state = Open;
        stack.push_back(frame);
        return true;
    };
    if (!open(objects.root()))
        return false;

    while (!stack.empty()) {
        Frame &frame = stack.back();
        if (frame.next < frame.object.count) {
            const bool isKey = frame.object.kind == Dictionary && frame.next < frame.object.count / 2;
            const quint64 child = objects.reference(frame.object, frame.next++);
            if (child >= objects.count() || seen[child].state == Open)
                return false; // a dangling reference, or a container inside itself
            if (isKey) {
                Object key;
                if (!objects.read(child, key) || !isString(key))
                    return false;
            }
            if (seen[child].state == Unseen) {
                if (!open(child))
                    return false;
                continue;
            }
            if (stack.size() + seen[child].height > MaximumDepth)
                return false;
            frame.height = std::max<uint8_t>(frame.height, seen[child].height + 1);
            frame.nodes = std::min(MaximumNodes + 1, frame.nodes + seen[child].nodes);
            continue;
        }
        const Frame done = frame;
        stack.removeLast();
        seen[done.index] = {done.nodes, Done, done.height};
        if (done.nodes > MaximumNodes || stack.size() + done.height > MaximumDepth)
            return false;
        if (!stack.empty()) {
            Frame &parent = stack.back();
            parent.height = std::max<uint8_t>(parent.height, done.height + 1);
            parent.nodes = std::min(MaximumNodes + 1, parent.nodes + done.nodes);
        }
    }
    return true;
}

} // namespace

bool isBinary(QByteArrayView bytes)
{
    return bytes.size() >= qsizetype(MagicSize) && std::memcmp(bytes.data(), Magic, MagicSize) == 0;
}

std::optional<QString> rootString(QByteArrayView bytes, QLatin1StringView key)
{
    Objects objects(bytes);
    Object root;
    if (!objects.readTrailer() || !isSound(objects) || !objects.read(objects.root(), root) || root.kind != Dictionary)
        return std::nullopt;
    const quint64 pairs = root.count / 2;
    for (quint64 i = 0; i < pairs; ++i) {
        Object name;
        objects.read(objects.reference(root, i), name);
        if (!objects.textEquals(name, key))
            continue;
        Object value;
        objects.read(objects.reference(root, pairs + i), value);
        if (!isString(value))
            return std::nullopt;
        return objects.text(value);
    }
    return std::nullopt;
}

} // namespace platform::binaryplist
