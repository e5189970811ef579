// The catalogue as the web service or the cache file hands it over, then
// what the window does with a decoded one: sections and links.
#include "catalog/Product.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto products = Product::decodeCatalog(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (!products)
        return 0;
    for (const Product &product : *products) {
        product.productPageURL();
        product.supportURL();
        product.couponURL();
    }
    // Grouping must neither lose nor repeat a product.
    qsizetype grouped = 0;
    for (const ProductSection &section : Product::sections(*products))
        grouped += section.products.size();
    if (grouped != products->size())
        std::abort();
    return 0;
}
