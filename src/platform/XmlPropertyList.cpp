#include "XmlPropertyList.h"

#include "PropertyListLimits.h"
#include "XmlCursor.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <string_view>
#include <utility>

namespace platform::xmlplist {
namespace {

// The document as a whole: prolog, <plist>, the one value, and the root
// dictionary's string under the key asked for.
class Reader
{
public:
    Reader(QByteArrayView bytes, QLatin1StringView key)
        : m_in(bytes)
        , m_key(key.data(), size_t(key.size()))
    {
    }

    std::optional<QString> run()
    {
        if (m_in.skip("<?xml") && !declaration())
            return std::nullopt;
        if (!m_in.misc() || (m_in.skip("<!DOCTYPE") && !(doctype() && m_in.misc())))
            return std::nullopt;
        if (!m_in.skip("<plist") || !plistAttributes() || !content() || !m_in.misc() || !m_in.atEnd())
            return std::nullopt;
        return m_found;
    }

private:
    // Left uninitialised until pushed: the stack is as deep as the limit.
    struct Frame
    {
        Element element;
        bool root;          // the dictionary at the root
        bool awaitingValue; // a dictionary after a key
        bool keyMatched;    // ... that key being the one asked for
        bool holdsValue;    // <plist> once its value came
    };

    // After "<?xml": version 1.0, then optionally an encoding and standalone.
    bool declaration()
    {
        if (!m_in.space() || !m_in.skip("version") || !m_in.equals() || m_in.quoted(isDeclarationChar) != "1.0")
            return false;
        bool spaced = m_in.space();
        if (spaced && m_in.skip("encoding")) {
            const auto name = m_in.equals() ? m_in.quoted(isDeclarationChar) : std::nullopt;
            const auto letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
            if (!name || name->empty() || !letter(name->front()))
                return false;
            spaced = m_in.space();
        }
        if (spaced && m_in.skip("standalone")) {
            const auto value = m_in.equals() ? m_in.quoted(isDeclarationChar) : std::nullopt;
            if (value != "yes" && value != "no")
                return false;
            m_in.space();
        }
        return m_in.skip("?>");
    }

    // After "<!DOCTYPE": a name and an optional external identifier; no
    // internal subset.
    bool doctype()
    {
        if (!m_in.space() || m_in.name().empty())
            return false;
        if (m_in.space()) {
            const bool isPublic = m_in.skip("PUBLIC");
            if (isPublic || m_in.skip("SYSTEM")) {
                if (!m_in.space() || !m_in.quoted(isLiteralChar)
                    || (isPublic && (!m_in.space() || !m_in.quoted(isLiteralChar))))
                    return false;
                m_in.space();
            }
        }
        return m_in.skip(">");
    }

    // After "<plist": attributes, then ">" (an empty <plist/> holds no value).
    bool plistAttributes()
    {
        std::array<std::string_view, 8> names;
        size_t count = 0;
        for (;;) {
            const bool spaced = m_in.space();
            if (m_in.skip(">"))
                return true;
            const std::string_view name = spaced && count < names.size() ? m_in.name() : std::string_view();
            if (name.empty() || (name.size() >= 3 && qstrnicmp(name.data(), "xml", 3) == 0))
                return false; // none, or reserved (namespace declarations among them)
            for (size_t i = 0; i < count; ++i) {
                if (names[i] == name)
                    return false;
            }
            names[count++] = name;
            if (!m_in.equals() || !m_in.quoted(isAttributeChar))
                return false;
        }
    }

    // After <plist ...>: its one value, nested elements kept on a stack as
    // deep as the depth allowed, then </plist>.
    bool content()
    {
        std::array<Frame, plistlimits::MaximumDepth> stack;
        size_t depth = 1;
        stack[0] = Frame{Element::Plist, false, false, false, false};
        for (;;) {
            if (!m_in.misc() || !m_in.skip("<"))
                return false;
            Frame &top = stack[depth - 1];
            if (m_in.skip("/")) {
                if (!m_in.endTag(top.element) || top.awaitingValue || (top.element == Element::Plist && !top.holdsValue))
                    return false;
                if (--depth == 0)
                    return true;
                continue;
            }
            const auto element = m_in.elementName();
            if (!element || *element == Element::Plist || depth == stack.size())
                return false;
            // Keys alternate with values in dictionaries and stand nowhere else.
            const bool isKey = *element == Element::Key;
            if (top.element == Element::Dict ? isKey == top.awaitingValue : isKey)
                return false;
            if (top.element == Element::Plist && std::exchange(top.holdsValue, true))
                return false;
            const bool wanted = top.awaitingValue && top.keyMatched;
            if (top.element == Element::Dict)
                top.awaitingValue = isKey;
            const Cursor::TagEnd end = m_in.tagEnd();
            if (end == Cursor::TagEnd::Bad)
                return false;
            const bool empty = end == Cursor::TagEnd::Empty;
            if (*element != Element::String && *element != Element::Key && wanted)
                m_found.reset();

            switch (*element) {
            case Element::Dict:
            case Element::Array:
                if (!empty)
                    stack[depth++] = Frame{*element, top.element == Element::Plist && *element == Element::Dict, false,
                                           false, false};
                break;
            case Element::Key:
            case Element::String: {
                Text *out = (isKey ? top.root : wanted) ? &m_text : nullptr;
                if (out)
                    out->clear();
                if (!empty && !m_in.text(*element, out, true))
                    return false;
                if (isKey && top.root)
                    top.keyMatched = std::string_view(m_text.data(), size_t(m_text.size())) == m_key;
                else if (wanted)
                    m_found = QString::fromUtf8(m_text.data(), qsizetype(m_text.size()));
                break;
            }
            case Element::True:
            case Element::False:
                if (!empty && !(m_in.skip("</") && m_in.endTag(*element)))
                    return false;
                break;
            default: // integer, real, date, data
                if (!empty && !m_in.text(*element, nullptr, false))
                    return false;
                break;
            }
        }
    }

    Cursor m_in;
    const std::string_view m_key;
    Text m_text;
    std::optional<QString> m_found;
};

} // namespace

std::optional<QString> rootString(QByteArrayView bytes, QLatin1StringView key)
{
    return Reader(bytes, key).run();
}

} // namespace platform::xmlplist
