#pragma once

#include <QByteArray>
#include <QList>

#include <optional>

#include "JsonFields.h"

namespace json {

// Receives the elements of a document that must be an array of objects.
class ObjectVisitor
{
public:
    // How many elements follow; a hint for allocation.
    virtual void expect(qsizetype count) = 0;
    // One element's fields; false rejects the whole document.
    virtual bool visit(JsonFields &fields) = 0;

protected:
    ~ObjectVisitor() = default;
};

// Parses `bytes` and hands every element to `visitor`. False when the bytes
// are not JSON, the document is not an array of objects or the visitor
// refused an element.
bool visitObjects(const QByteArray &bytes, ObjectVisitor &visitor);

// Decodes a document that must be an array of objects, all or nothing:
// `decodeOne` reads one element's fields and the first element that breaks
// the format rejects the whole document.
template <typename T, typename DecodeOne>
std::optional<QList<T>> decodeArray(const QByteArray &bytes, DecodeOne decodeOne)
{
    class Collector final : public ObjectVisitor
    {
    public:
        explicit Collector(DecodeOne &decode)
            : m_decode(decode)
        {
        }
        void expect(qsizetype count) override { items.reserve(count); }
        bool visit(JsonFields &fields) override
        {
            T item = m_decode(fields);
            if (!fields.ok())
                return false;
            items.append(std::move(item));
            return true;
        }
        QList<T> items;

    private:
        DecodeOne &m_decode;
    };

    Collector collector(decodeOne);
    if (!visitObjects(bytes, collector))
        return std::nullopt;
    return std::move(collector.items);
}

} // namespace json
