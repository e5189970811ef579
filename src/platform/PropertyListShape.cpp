#include "PropertyListShape.h"

#include "XmlDepth.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace platform::plistshape {
namespace {

constexpr char Magic[] = "bplist00";
constexpr qsizetype MagicSize = 8;
constexpr qsizetype TrailerSize = 32;

// The object graph of a binary property list, read only as far as the
// containers and their references go.
class BinaryGraph
{
public:
    explicit BinaryGraph(const QByteArray &bytes)
        : m_data(reinterpret_cast<const uint8_t *>(bytes.constData()))
        , m_size(quint64(bytes.size()))
    {
    }

    bool readTrailer()
    {
        if (m_size < quint64(MagicSize + TrailerSize))
            return false;
        const uint8_t *trailer = m_data + m_size - TrailerSize;
        m_offsetSize = trailer[6];
        m_refSize = trailer[7];
        m_objectCount = number(trailer + 8, 8);
        m_root = number(trailer + 16, 8);
        m_tableOffset = number(trailer + 24, 8);
        const quint64 tableSpace = m_size - TrailerSize;
        return m_offsetSize >= 1 && m_offsetSize <= 8 && m_refSize >= 1 && m_refSize <= 8 && m_objectCount > 0
            && m_root < m_objectCount && m_tableOffset >= quint64(MagicSize) && m_tableOffset < tableSpace
            && m_objectCount <= (tableSpace - m_tableOffset) / m_offsetSize;
    }

    quint64 objectCount() const { return m_objectCount; }
    quint64 root() const { return m_root; }

    // Where an object's references start and how many there are (none for
    // scalars). False when the object or its references lie outside the file.
    bool references(quint64 object, quint64 &start, quint64 &count) const
    {
        const quint64 offset = number(m_data + m_tableOffset + object * m_offsetSize, m_offsetSize);
        if (offset < quint64(MagicSize) || offset >= m_size)
            return false;
        const uint8_t marker = m_data[offset];
        const uint8_t type = marker >> 4;
        count = 0;
        start = offset + 1;
        if (type != 0xA && type != 0xC && type != 0xD)
            return true;
        count = marker & 0x0F;
        if (count == 0x0F) {
            // The count follows as an integer object: 0x1n, then 2^n bytes.
            if (start >= m_size || (m_data[start] >> 4) != 0x1 || (m_data[start] & 0x0F) > 3)
                return false;
            const quint64 width = quint64(1) << (m_data[start] & 0x0F);
            if (start + 1 + width > m_size)
                return false;
            count = number(m_data + start + 1, int(width));
            start += 1 + width;
        }
        if (type == 0xD) {
            if (count > m_size)
                return false;
            count *= 2; // keys, then values
        }
        return count <= (m_size - start) / m_refSize;
    }

    // The `index`th reference of a container, or -1 when it names no object.
    qint64 reference(quint64 start, quint64 index) const
    {
        const quint64 object = number(m_data + start + index * m_refSize, m_refSize);
        return object < m_objectCount ? qint64(object) : -1;
    }

private:
    static quint64 number(const uint8_t *bytes, int width)
    {
        quint64 value = 0;
        for (int i = 0; i < width; ++i)
            value = (value << 8) | bytes[i];
        return value;
    }

    const uint8_t *m_data;
    quint64 m_size;
    int m_offsetSize = 0;
    int m_refSize = 0;
    quint64 m_objectCount = 0;
    quint64 m_root = 0;
    quint64 m_tableOffset = 0;
};

// Walks the graph from the root with an explicit stack no deeper than
// MaximumDepth, visiting each object once; a shared object's depth and
// expanded size are remembered.
bool binaryIsWithinLimits(const QByteArray &bytes)
{
    BinaryGraph graph(bytes);
    if (!graph.readTrailer())
        return false;

    enum : uint8_t { Unseen, Open, Done };
    std::vector<uint8_t> state(graph.objectCount(), Unseen);
    std::vector<uint8_t> height(graph.objectCount(), 0);
    std::vector<qint64> nodes(graph.objectCount(), 0);

    struct Frame {
        quint64 object;
        quint64 start;
        quint64 count;
        quint64 next = 0;
        uint8_t height = 1;
        qint64 nodes = 1;
    };
    std::vector<Frame> stack;
    auto open = [&](quint64 object) {
        Frame frame{object, 0, 0};
        if (!graph.references(object, frame.start, frame.count) || stack.size() >= size_t(MaximumDepth))
            return false;
        state[object] = Open;
        stack.push_back(frame);
        return true;
    };
    if (!open(graph.root()))
        return false;

    while (!stack.empty()) {
        Frame &frame = stack.back();
        if (frame.next < frame.count) {
            const qint64 child = graph.reference(frame.start, frame.next++);
            if (child < 0 || state[child] == Open)
                return false; // a dangling reference, or a container inside itself
            if (state[child] == Unseen) {
                if (!open(quint64(child)))
                    return false;
                continue;
            }
            if (stack.size() + height[child] > size_t(MaximumDepth))
                return false;
            frame.height = std::max<uint8_t>(frame.height, height[child] + 1);
            frame.nodes = std::min(MaximumNodes + 1, frame.nodes + nodes[child]);
            continue;
        }
        const Frame done = frame;
        stack.pop_back();
        state[done.object] = Done;
        height[done.object] = done.height;
        nodes[done.object] = done.nodes;
        if (done.nodes > MaximumNodes || stack.size() + done.height > size_t(MaximumDepth))
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

bool isBinary(const QByteArray &bytes)
{
    return bytes.size() >= MagicSize && std::memcmp(bytes.constData(), Magic, MagicSize) == 0;
}

bool isWithinLimits(const QByteArray &bytes)
{
    if (isBinary(bytes))
        return binaryIsWithinLimits(bytes);
    // libplist reads the bytes as UTF-8 whatever encoding the document
    // declares, so they are checked as UTF-8 too: a declared encoding such
    // as ISO-2022-JP would otherwise hide from the check elements that
    // libplist parses.
    return xmlShape(QString::fromUtf8(bytes), MaximumDepth) == XmlShape::Fine;
}

} // namespace platform::plistshape
