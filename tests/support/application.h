#pragma once

#include <QCoreApplication>
#include <array>

namespace test {

// The application object of a Qt test. Its destructor also deletes objects for which
// deleteLater() was called. Declare it before the objects that need it.
class Application
{
public:
    Application() = default;
    ~Application() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

private:
    int mArgc = 1;
    std::array<char, 5> mName{"test"};
    char *mArgv = mName.data();
    QCoreApplication mApplication{mArgc, &mArgv};
};

} // namespace test
