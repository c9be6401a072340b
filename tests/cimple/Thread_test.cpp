#include <cimple/cimple.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <future>

namespace {

TEST(Thread, RunsTheProcedureInAThreadOfItsOwn) {
    static std::promise<pthread_t> ran;
    cimple::Thread thread;
    ASSERT_EQ(cimple::Thread::create_detached(
                  thread,
                  [](void* promise) -> void* {
                      static_cast<std::promise<pthread_t>*>(promise)->set_value(pthread_self());
                      return nullptr;
                  },
                  &ran),
              0);
    EXPECT_EQ(pthread_equal(ran.get_future().get(), pthread_self()), 0);
}

TEST(Thread, SaysWhyItCannotBeStarted) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    constexpr std::size_t beyondTheAddressSpace = std::size_t{1} << 48;
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, beyondTheAddressSpace), 0);
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
    cimple::Thread thread;
    EXPECT_NE(cimple::Thread::create_detached(
                  thread, [](void* none) { return none; }, nullptr),
              0);
}

}  // namespace
