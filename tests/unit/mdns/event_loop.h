#pragma once

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTest>
#include <gtest/gtest.h>
#include <optional>

// The event dispatcher of Qt: the one on glib's main context, Debian's default, or the one
// on poll(2), which QT_NO_GLIB=1 selects.
enum class Dispatcher { Glib, Poll };

// The real Qt event loop, a new one for each test, on each dispatcher.
class EventLoop : public testing::TestWithParam<Dispatcher>
{
protected:
    void SetUp() override
    {
        qputenv("QT_NO_GLIB", GetParam() == Dispatcher::Poll ? "1" : "");
        m_application.emplace(m_argc, m_argv);
        ASSERT_STREQ(QAbstractEventDispatcher::instance()->metaObject()->className(),
                     GetParam() == Dispatcher::Poll ? "QEventDispatcherUNIX"
                                                    : "QEventDispatcherGlib");
    }

    // Runs the loop until the condition is true; returns false if it stays false.
    template <typename Condition>
    static bool waitFor(Condition condition)
    {
        return QTest::qWaitFor(condition, 20000);
    }

private:
    char m_name[5] = "test";
    char *m_argv[2] = {m_name, nullptr};
    int m_argc = 1;
    std::optional<QCoreApplication> m_application;
};

inline std::string dispatcherName(const testing::TestParamInfo<Dispatcher> &info)
{
    return info.param == Dispatcher::Glib ? "Glib" : "Poll";
}
