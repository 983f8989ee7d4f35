#pragma once

// CProductFeatures answers what the product that this process runs on can do.
// It has static members only, which any thread may call.
class CProductFeatures
{
public:
    // Whether the device's web server speaks HTTPS: so do the products of the
    // Lumen family. The first answer is kept for the life of the process.
    [[nodiscard]] static bool canDoHTTPS();
};
