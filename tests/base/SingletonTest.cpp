#include <gtest/gtest.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "omi_Singleton.h"

namespace {

int s_destroyed = 0;

class Counter : public omi_SingletonBase<Counter> {
  public:
    int value = 0;

  private:
    friend class omi_Singleton<Counter>;
    friend class omi_SingletonBase<Counter>;
    Counter() = default;
    ~Counter() { ++s_destroyed; }
};

class Refusing : public omi_SingletonBase<Refusing> {
    friend class omi_Singleton<Refusing>;
    friend class omi_SingletonBase<Refusing>;
    Refusing() {
        if (s_refuse) {
            throw std::runtime_error("refused");
        }
    }
    ~Refusing() = default;

  public:
    static inline bool s_refuse = true;
};

// Comes back for itself while it is made, or makes a second object.
class SelfSeeking : public omi_SingletonBase<SelfSeeking> {
  public:
    static inline bool s_makeSecond = false;
    SelfSeeking* seen = nullptr;

  private:
    friend class omi_Singleton<SelfSeeking>;
    friend class omi_SingletonBase<SelfSeeking>;
    SelfSeeking() {
        if (s_makeSecond) {
            s_makeSecond = false;
            SelfSeeking second;
        }
        seen = &omi_Singleton<SelfSeeking>::Instance();
    }
    ~SelfSeeking() = default;
};

void* Registered(const std::type_info& type) {
    return omi_SingletonRegistry::Instance()->Find(type.name());
}

}  // namespace

TEST(Singleton, LivesFromFirstUseToFinalizeAndThenAfresh) {
    s_destroyed = 0;
    EXPECT_EQ(Registered(typeid(Counter)), nullptr);
    Counter& first = omi_Singleton<Counter>::Instance();
    first.value = 7;
    EXPECT_EQ(&omi_Singleton<Counter>::Instance(), &first);
    EXPECT_EQ(Registered(typeid(Counter)), &first);

    omi_SingletonBase<Counter>::Finalize();
    EXPECT_EQ(s_destroyed, 1);
    EXPECT_EQ(Registered(typeid(Counter)), nullptr);

    EXPECT_EQ(omi_Singleton<Counter>::Instance().value, 0);
    omi_SingletonBase<Counter>::Finalize();
    EXPECT_EQ(s_destroyed, 2);
}

TEST(Singleton, FinalizeWithoutInstanceOnlyLeavesTheRegistry) {
    s_destroyed = 0;
    int someone = 0;
    omi_SingletonRegistry::Instance()->Add(typeid(Counter).name(), &someone);
    omi_SingletonBase<Counter>::Finalize();
    EXPECT_EQ(Registered(typeid(Counter)), nullptr);
    EXPECT_EQ(s_destroyed, 0);
}

TEST(Singleton, FailedConstructionLeavesNothingBehind) {
    Refusing::s_refuse = true;
    EXPECT_THROW(omi_Singleton<Refusing>::Instance(), std::runtime_error);
    EXPECT_EQ(Registered(typeid(Refusing)), nullptr);
    Refusing::s_refuse = false;
    Refusing& made = omi_Singleton<Refusing>::Instance();
    EXPECT_EQ(Registered(typeid(Refusing)), &made);
    omi_SingletonBase<Refusing>::Finalize();
}

TEST(Singleton, ConstructorThatComesBackGetsTheObjectUnderConstruction) {
    SelfSeeking& made = omi_Singleton<SelfSeeking>::Instance();
    EXPECT_EQ(made.seen, &made);
    omi_SingletonBase<SelfSeeking>::Finalize();
}

TEST(SingletonDeathTest, SecondObjectMadeByTheConstructorAborts) {
    SelfSeeking::s_makeSecond = true;
    EXPECT_EXIT(omi_Singleton<SelfSeeking>::Instance(), testing::KilledBySignal(SIGABRT), "");
}

TEST(SingletonRegistry, KeepsTheFirstOfAKeyAndIgnoresUnknownOnes) {
    omi_SingletonRegistry registry;
    int first = 0;
    int second = 0;
    EXPECT_TRUE(registry.Add("key", &first));
    EXPECT_FALSE(registry.Add(std::string("key").c_str(), &second));
    EXPECT_EQ(registry.Find("key"), &first);
    EXPECT_FALSE(registry.Remove("other"));
    EXPECT_TRUE(registry.Remove("key"));
    EXPECT_FALSE(registry.Remove("key"));
    EXPECT_EQ(registry.Find("key"), nullptr);
}
