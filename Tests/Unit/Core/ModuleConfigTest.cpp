// SPDX-License-Identifier: Apache-2.0

// The registry with a configuration. The daemon has none, so the tests bring their own.

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "FakeModule.h"
#include "LogCapture.h"
#include "ModuleAccessor.h"

namespace {

// Configurations of a test: what they answer and what they were asked.
struct Configuration {
    std::string wanted;
    ModuleCounts counts;
    std::vector<std::string> asked;
    bool hasValueAsked = false;
};

class FakeConfig : public CountedModule<IConfig> {
public:
    explicit FakeConfig(Configuration& configuration)
        : CountedModule(configuration.counts), m_configuration(configuration) {}

    bool HasValue(std::string /*key*/) override {
        m_configuration.hasValueAsked = true;
        return false;
    }
    std::string GetValue(std::string key) override {
        m_configuration.asked.push_back(std::move(key));
        return m_configuration.wanted;
    }

private:
    Configuration& m_configuration;
};

// One class object is registered for good; outside these tests it makes nothing, and the registry
// is then as if it weren't there.
class ModuleConfig : public testing::Test {
protected:
    ModuleConfig() {
        static FakeModuleClass configClass("config", [] { return make ? make() : nullptr; });
        static const bool registered = [] {
            ModuleInterface<IConfig>::AddImpl(&configClass);
            return true;
        }();
        EXPECT_TRUE(registered);
        make = [this] { return new FakeConfig(*m_configuration); };
    }
    ~ModuleConfig() override { make = nullptr; }

    static inline std::function<IModule*()> make;
    Configuration* const m_configuration =
        configurations->emplace_back(std::make_unique<Configuration>()).get();
    ModuleCounts m_first;
    ModuleCounts m_second;

    template <typename I>
    void RegisterTwo(const char* first = "first", const char* second = "second") {
        Register<I>(first, m_first);
        Register<I>(second, m_second);
    }

private:
    // The registry keeps configurations and class objects for as long as the process lives.
    static inline auto* const configurations = new std::vector<std::unique_ptr<Configuration>>;
    static inline auto* const classes = new std::vector<std::unique_ptr<FakeModuleClass>>;

    template <typename I>
    void Register(const char* name, ModuleCounts& counts) {
        classes->push_back(std::make_unique<FakeModuleClass>(
            name, [&counts] { return new CountedModule<I>(counts); }));
        ModuleInterface<I>::AddImpl(classes->back().get());
    }
};

TEST_F(ModuleConfig, ChoosesTheImplementationThatItNames) {
    class IThing : public IModule {};
    RegisterTwo<IThing>();
    m_configuration->wanted = "second";
    EXPECT_NE(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(m_first.made, 0);
    EXPECT_EQ(m_second.made, 1);
    EXPECT_EQ(m_second.initialised, 1);
}

TEST_F(ModuleConfig, YieldsTheFirstImplementationForAnUnknownNameWithoutAWord) {
    class IThing : public IModule {};
    RegisterTwo<IThing>();
    m_configuration->wanted = "third";
    LogCapture::Clear();
    EXPECT_NE(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(m_first.made, 1);
    EXPECT_EQ(m_second.made, 0);
    EXPECT_TRUE(LogCapture::Lines().empty());
}

TEST_F(ModuleConfig, YieldsTheFirstImplementationForAnEmptyName) {
    class IThing : public IModule {};
    RegisterTwo<IThing>();
    EXPECT_NE(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(m_first.made, 1);
}

TEST_F(ModuleConfig, FindsTheImplementationWithoutANameByTheEmptyName) {
    class IThing : public IModule {};
    RegisterTwo<IThing>("first", "");
    EXPECT_NE(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(m_second.made, 1);
}

TEST_F(ModuleConfig, ComparesTheWholeNameByteForByte) {
    class ILonger : public IModule {};
    class IShorter : public IModule {};
    class ICase : public IModule {};
    m_configuration->wanted = "second";
    RegisterTwo<ILonger>("first", "second2");
    RegisterTwo<IShorter>("first", "secon");
    RegisterTwo<ICase>("first", "Second");
    EXPECT_NE(ModuleAccessor<ILonger>::Get(), nullptr);
    EXPECT_NE(ModuleAccessor<IShorter>::Get(), nullptr);
    EXPECT_NE(ModuleAccessor<ICase>::Get(), nullptr);
    EXPECT_EQ(m_first.made, 3);
    EXPECT_EQ(m_second.made, 0);
}

TEST_F(ModuleConfig, ChoosesTheFirstOfTwoThatBearOneName) {
    class IThing : public IModule {};
    m_configuration->wanted = "same";
    RegisterTwo<IThing>("same", "same");
    EXPECT_NE(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(m_first.made, 1);
    EXPECT_EQ(m_second.made, 0);
}

TEST_F(ModuleConfig, IsAskedForOneKeyAloneWhicheverTheInterface) {
    class IThing : public IModule {};
    class IOther : public IModule {};
    RegisterTwo<IThing>();
    RegisterTwo<IOther>();
    ModuleAccessor<IThing>::Get();
    ModuleAccessor<IOther>::Get();
    EXPECT_EQ(m_configuration->asked,
              (std::vector<std::string>{"ModuleClassName", "ModuleClassName"}));
    EXPECT_FALSE(m_configuration->hasValueAsked);
}

TEST_F(ModuleConfig, IsMadeAnewForEachInterfaceAndInitialised) {
    class IThing : public IModule {};
    class IOther : public IModule {};
    RegisterTwo<IThing>();
    RegisterTwo<IOther>();
    ModuleAccessor<IThing>::Get();
    ModuleAccessor<IOther>::Get();
    EXPECT_EQ(m_configuration->counts.made, 2);
    EXPECT_EQ(m_configuration->counts.initialised, 2);
}

TEST_F(ModuleConfig, IsKeptForTheInterfaceFromItsFirstCreateOn) {
    class IThing : public IModule {};
    RegisterTwo<IThing>();
    delete ModuleAccessor<IThing>::Create();
    m_configuration->wanted = "second";
    delete ModuleAccessor<IThing>::Create();
    EXPECT_EQ(m_configuration->counts.made, 1);
    EXPECT_EQ(m_configuration->asked.size(), 2U); // asked anew each time
    EXPECT_EQ(m_first.made, 1);
    EXPECT_EQ(m_second.made, 1);
}

TEST_F(ModuleConfig, IsNotMadeForAnInterfaceWithoutImplementations) {
    class IThing : public IModule {};
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(m_configuration->counts.made, 0);
}

TEST_F(ModuleConfig, DoesNotBecomeTheInstanceOfItsOwnAccessor) {
    class IThing : public IModule {};
    RegisterTwo<IThing>();
    ModuleAccessor<IThing>::Get();
    EXPECT_EQ(m_configuration->counts.made, 1);
    EXPECT_NE(ModuleAccessor<IConfig>::Get(), nullptr);
    EXPECT_EQ(m_configuration->counts.made, 2);
}

TEST_F(ModuleConfig, IsItselfTheFirstRegisteredWithNoLookUpByName) {
    class IThing : public IModule {};
    ModuleCounts never;
    FakeModuleClass named("second", [&] { return new CountedModule<IThing>(never); });
    ModuleInterface<IConfig>::AddImpl(&named);
    m_configuration->wanted = "second";
    IConfig* const config = ModuleAccessor<IConfig>::Create();
    EXPECT_NE(config, nullptr);
    EXPECT_TRUE(m_configuration->asked.empty());
    EXPECT_EQ(never.made, 0);
    delete config;
}

TEST_F(ModuleConfig, OfTheWrongTypeIsDestroyedAndCountsAsNone) {
    class IThing : public IModule {};
    ModuleCounts wrong;
    make = [&] { return new CountedModule<IThing>(wrong); };
    RegisterTwo<IThing>();
    EXPECT_NE(ModuleAccessor<IThing>::Get(), nullptr);
    EXPECT_EQ(m_first.made, 1);
    EXPECT_EQ(wrong.made, 1);
    EXPECT_EQ(wrong.destroyed, 1);
    EXPECT_EQ(wrong.initialised, 0);
}

} // namespace
