// SPDX-License-Identifier: Apache-2.0

// The registry without a configuration. Every test has an interface of its own, and with it a
// registry of its own.

#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <thread>

#include "FakeModule.h"
#include "Gate.h"
#include "LogCapture.h"
#include "ModuleAccessor.h"

namespace {

TEST(ModuleInterface, KeepsTheOrderOfRegistration) {
    class IThing : public IModule {};
    FakeModuleClass first("first", [] { return nullptr; });
    FakeModuleClass second("second", [] { return nullptr; });
    ModuleInterface<IThing>::AddImpl(&second);
    ModuleInterface<IThing>::AddImpl(&first);
    ModuleInterface<IThing>::AddImpl(&second);
    EXPECT_EQ(ModuleInterface<IThing>::GetImpls(),
              (std::list<IModuleClass*>{&second, &first, &second}));
}

TEST(ModuleInterface, HandsOutACopyOfItsList) {
    class IThing : public IModule {};
    FakeModuleClass impl("impl", [] { return nullptr; });
    ModuleInterface<IThing>::AddImpl(&impl);
    std::list<IModuleClass*> copy = ModuleInterface<IThing>::GetImpls();
    copy.clear();
    EXPECT_EQ(ModuleInterface<IThing>::GetImpls().size(), 1U);
}

TEST(ModuleInterface, HasAListForEachInterface) {
    class IThing : public IModule {};
    class IOther : public IModule {};
    FakeModuleClass impl("impl", [] { return nullptr; });
    ModuleInterface<IThing>::AddImpl(&impl);
    EXPECT_TRUE(ModuleInterface<IOther>::GetImpls().empty());
}

TEST(ModuleAccessor, YieldsNullWithNothingRegisteredAndTriesAgain) {
    class IThing : public IModule {};
    ModuleCounts counts;
    FakeModuleClass impl("impl", [&] { return new CountedModule<IThing>(counts); });
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), nullptr);
    ModuleInterface<IThing>::AddImpl(&impl);
    EXPECT_NE(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(counts.made, 1);
}

TEST(ModuleAccessor, TakesTheFirstClassAndNeverInstantiatesTheSecond) {
    class IThing : public IModule {};
    ModuleCounts first;
    ModuleCounts second;
    FakeModuleClass firstClass("first", [&] { return new CountedModule<IThing>(first); });
    FakeModuleClass secondClass("second", [&] { return new CountedModule<IThing>(second); });
    ModuleInterface<IThing>::AddImpl(&firstClass);
    ModuleInterface<IThing>::AddImpl(&secondClass);
    EXPECT_NE(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(first.made, 1);
    EXPECT_EQ(second.made, 0);
}

TEST(ModuleAccessor, CreatesAndInitialisesOnceAndReturnsThatModuleForEver) {
    class IThing : public IModule {};
    ModuleCounts counts;
    FakeModuleClass impl("impl", [&] { return new CountedModule<IThing>(counts); });
    ModuleInterface<IThing>::AddImpl(&impl);
    IThing* const module = ModuleAccessor<IThing>::Get();
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), module);
    EXPECT_EQ(counts.made, 1);
    EXPECT_EQ(counts.initialised, 1);
    EXPECT_EQ(counts.destroyed, 0);
}

TEST(ModuleAccessor, TakesNoNoticeOfClassesThatComeAfterTheFirstGet) {
    class IThing : public IModule {};
    ModuleCounts counts;
    FakeModuleClass first("first", [&] { return new CountedModule<IThing>(counts); });
    FakeModuleClass late("late", [&] { return new CountedModule<IThing>(counts); });
    ModuleInterface<IThing>::AddImpl(&first);
    IThing* const module = ModuleAccessor<IThing>::Get();
    ModuleInterface<IThing>::AddImpl(&late);
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), module);
    EXPECT_EQ(counts.made, 1);
}

TEST(ModuleAccessor, CreateNeitherReadsNorSetsWhatGetKeeps) {
    class IThing : public IModule {};
    ModuleCounts counts;
    FakeModuleClass impl("impl", [&] { return new CountedModule<IThing>(counts); });
    ModuleInterface<IThing>::AddImpl(&impl);
    const std::unique_ptr<IThing> before(ModuleAccessor<IThing>::Create());
    IThing* const kept = ModuleAccessor<IThing>::Get();
    const std::unique_ptr<IThing> after(ModuleAccessor<IThing>::Create());
    EXPECT_NE(kept, before.get());
    EXPECT_NE(kept, after.get());
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), kept);
    EXPECT_EQ(counts.made, 3);
    EXPECT_EQ(counts.initialised, 3);
}

TEST(ModuleAccessor, DestroysAnObjectOfTheWrongTypeUninitialisedAndTriesAgain) {
    class IThing : public IModule {};
    class IOther : public IModule {};
    ModuleCounts wrong;
    ModuleCounts right;
    bool answerRight = false;
    FakeModuleClass impl("impl", [&]() -> IModule* {
        if (answerRight) {
            return new CountedModule<IThing>(right);
        }
        return new CountedModule<IOther>(wrong);
    });
    ModuleInterface<IThing>::AddImpl(&impl);
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(wrong.made, 1);
    EXPECT_EQ(wrong.destroyed, 1);
    EXPECT_EQ(wrong.initialised, 0);
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(wrong.made, 2);
    EXPECT_EQ(wrong.destroyed, 2);
    answerRight = true;
    EXPECT_NE(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(right.initialised, 1);
}

TEST(ModuleAccessor, DoesNotGoOnToTheSecondClassWhereTheFirstFails) {
    class IThing : public IModule {};
    ModuleCounts second;
    FakeModuleClass failing("first", [] { return nullptr; });
    FakeModuleClass good("second", [&] { return new CountedModule<IThing>(second); });
    ModuleInterface<IThing>::AddImpl(&failing);
    ModuleInterface<IThing>::AddImpl(&good);
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(second.made, 0);
}

TEST(ModuleAccessor, YieldsNullWhereThereIsNoInstanceAndTriesAgain) {
    class IThing : public IModule {};
    ModuleCounts counts;
    int asked = 0;
    FakeModuleClass impl("impl", [&]() -> IModule* {
        ++asked;
        return asked < 3 ? nullptr : new CountedModule<IThing>(counts);
    });
    ModuleInterface<IThing>::AddImpl(&impl);
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_NE(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(asked, 3);
}

TEST(ModuleAccessor, ReportsNoFailureInTheLog) {
    class IThing : public IModule {};
    class IOther : public IModule {};
    ModuleCounts wrong;
    LogCapture::Clear();
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), nullptr);
    FakeModuleClass impl("impl", [&] { return new CountedModule<IOther>(wrong); });
    ModuleInterface<IThing>::AddImpl(&impl);
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_TRUE(LogCapture::Lines().empty());
}

// A module whose constructor can fail, and which counts its memory.
class FailingModule : public IModule {
public:
    static inline bool fail = false;
    static inline int held = 0;

    FailingModule() {
        if (fail) {
            throw std::runtime_error("cannot be made");
        }
    }
    void Init() override {}

    static void* operator new(std::size_t size) {
        ++held;
        return ::operator new(size);
    }
    static void operator delete(void* memory) {
        --held;
        ::operator delete(memory);
    }
};

TEST(ModuleAccessor, LetsAConstructorsExceptionThroughFreesTheMemoryAndTriesAgain) {
    FakeModuleClass impl("impl", [] { return new FailingModule; });
    ModuleInterface<FailingModule>::AddImpl(&impl);
    FailingModule::fail = true;
    EXPECT_THROW(ModuleAccessor<FailingModule>::Get(), std::runtime_error);
    EXPECT_EQ(FailingModule::held, 0);
    FailingModule::fail = false;
    EXPECT_NE(ModuleAccessor<FailingModule>::Get(), nullptr);
    EXPECT_EQ(FailingModule::held, 1);
}

TEST(ModuleAccessor, FindsAnInterfaceThatDerivesVirtuallyFromIModule) {
    class IThing : public virtual IModule {};
    class IOther : public virtual IModule {};
    class Both : public IOther, public IThing {
        void Init() override {}
    };
    FakeModuleClass impl("impl", []() -> IModule* { return static_cast<IOther*>(new Both); });
    ModuleInterface<IThing>::AddImpl(&impl);
    IThing* const module = ModuleAccessor<IThing>::Get();
    ASSERT_NE(module, nullptr);
    EXPECT_NE(dynamic_cast<Both*>(module), nullptr);
}

TEST(ModuleAccessor, InitialisesASharedObjectOnceForEachOfItsInterfaces) {
    class IThing : public virtual IModule {};
    class IOther : public virtual IModule {};
    class Both : public IThing, public IOther {
    public:
        int initialised = 0;
        void Init() override { ++initialised; }
    };
    static Both both;
    FakeModuleClass impl("impl", []() -> IModule* { return static_cast<IThing*>(&both); });
    ModuleInterface<IThing>::AddImpl(&impl);
    ModuleInterface<IOther>::AddImpl(&impl);
    IModule* const first = ModuleAccessor<IThing>::Get();
    EXPECT_EQ(both.initialised, 1);
    IModule* const second = ModuleAccessor<IOther>::Get();
    EXPECT_EQ(both.initialised, 2);
    EXPECT_EQ(first, second);
}

// Get is a plain test and set: what the first Get creates isn't known before its constructor has
// returned.
TEST(ModuleAccessor, GivesAThreadThatComesDuringTheConstructionAModuleOfItsOwn) {
    class IThing : public IModule {};
    static ModuleCounts counts;
    static Gate insideFirst;
    static Gate finishFirst;
    FakeModuleClass impl("impl", [] {
        auto* const module = new CountedModule<IThing>(counts);
        if (counts.made == 1) {
            insideFirst.Open();
            finishFirst.Wait();
        }
        return module;
    });
    ModuleInterface<IThing>::AddImpl(&impl);
    IThing* early = nullptr;
    std::thread constructing([&] { early = ModuleAccessor<IThing>::Get(); });
    ASSERT_TRUE(insideFirst.Wait());
    IThing* const late = ModuleAccessor<IThing>::Get();
    finishFirst.Open();
    constructing.join();
    EXPECT_EQ(counts.made, 2);
    EXPECT_NE(early, late);
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), early); // whoever stores last
    delete late;
}

} // namespace
