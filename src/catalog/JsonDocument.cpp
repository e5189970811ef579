#include "JsonDocument.h"

#include "JsonMember.h"
#include "JsonRewrite.h"

#include <vector>

namespace json {
namespace {

// Qt's reader, which the hub used before, allows 1,024 nested arrays and
// objects; this parser counts a value inside the innermost one as a level.
constexpr size_t MaxDepth = 1025;

simdjson::error_code parse(simdjson::dom::parser &parser, const QByteArray &bytes, simdjson::dom::element &root)
{
    // Qt's reader skipped a byte order mark, and so does the hub.
    const qsizetype start = bytes.startsWith("\xEF\xBB\xBF") ? 3 : 0;
    const size_t length = size_t(bytes.size() - start);
    if (const auto error = parser.allocate(length, MaxDepth))
        return error;
    // The parser reads up to SIMDJSON_PADDING bytes past the end: a buffer
    // with that much spare capacity is parsed where it is, others are copied.
    const bool copy = bytes.capacity() - bytes.size() < qsizetype(simdjson::SIMDJSON_PADDING);
    return parser.parse(bytes.constData() + start, length, copy).get(root);
}

} // namespace

bool visitObjects(const QByteArray &bytes, ObjectVisitor &visitor)
{
    simdjson::dom::parser parser;
    simdjson::dom::element root;
    simdjson::error_code error = parse(parser, bytes, root);
    std::optional<QByteArray> rewritten;
    if (error == simdjson::NUMBER_ERROR || error == simdjson::STRING_ERROR) {
        rewritten = rewriteRefusedForms(bytes);
        if (rewritten)
            error = parse(parser, *rewritten, root);
    }
    simdjson::dom::array array;
    if (error || root.get_array().get(array))
        return false;

    visitor.expect(qsizetype(array.size()));
    std::vector<Member> members;
    for (const simdjson::dom::element element : array) {
        simdjson::dom::object object;
        if (element.get_object().get(object))
            return false;
        // Collected once, as every field a decoder asks for is looked up
        // among all of them.
        members.clear();
        for (auto it = object.begin(); it != object.end(); ++it)
            members.push_back({it.key(), it.value()});
        JsonFields fields(members.data(), qsizetype(members.size()));
        if (!visitor.visit(fields))
            return false;
    }
    return true;
}

} // namespace json
