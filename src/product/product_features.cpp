#include "product/product_features.h"

#include "product/product_id.h"

bool CProductFeatures::canDoHTTPS()
{
    static const bool can = CProductID::isLumenFamily();
    return can;
}
