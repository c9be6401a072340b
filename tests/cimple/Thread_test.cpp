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

}  // namespace
