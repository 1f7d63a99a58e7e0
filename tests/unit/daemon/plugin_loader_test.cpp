#include "daemon/plugin_loader.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>

#include "platform/base/plugin_manager.h"
#include "platform/base/qz_shlib_init.h"
#include "platform/orb/ref_counted_local_object.h"

namespace {

using poalocd::load_plugins;
using poalocd::PluginError;
using testing::AllOf;
using testing::Contains;
using testing::Field;
using testing::HasSubstr;
using testing::SizeIs;

std::string folder() {
  return (std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "lib").string();
}

std::vector<QZ_LocationPlugIn::OALocatorPlugIn*> load(const std::vector<std::string>& libraries,
                                                      const std::string& directory = "") {
  return load_plugins({directory, libraries}, QZ_Logging::EventLog::_nil());
}

std::string failure(const std::string& library) {
  try {
    load({library});
  } catch (const PluginError& e) {
    return e.what();
  }
  return "none";
}

TEST(PluginLoader, FindsTheLocatorPluginOfALibraryBesideTheProgram) {
  const auto plugins = load({"libtest_plugin_good.so"});
  ASSERT_THAT(plugins, SizeIs(1));
  const CORBA::String_var name = plugins[0]->name();
  EXPECT_STREQ(name.in(), "test_good");
  EXPECT_THAT(QZ_Shlib_Init::declared(), Contains(AllOf(Field(&QZ_Shlib_Descriptor::description, "test_plugin_good"),
                                                        Field(&QZ_Shlib_Descriptor::version, "3"),
                                                        Field(&QZ_Shlib_Descriptor::dependencies, SizeIs(2)))));
}

TEST(PluginLoader, FindsALibraryAgainThatIsLoaded) {
  EXPECT_THAT(load({"libtest_plugin_good.so"}), SizeIs(1));
  EXPECT_THAT(load({"libtest_plugin_good.so"}, folder()), SizeIs(1));
  EXPECT_THAT(load({folder() + "/libtest_plugin_good.so"}), SizeIs(1));
}

TEST(PluginLoader, TakesNoLibraries) {
  EXPECT_THAT(load({}), SizeIs(0));
}

TEST(PluginLoader, SaysWhyALibraryCannotBeUsed) {
  EXPECT_THAT(failure("no_such.so"), AllOf(HasSubstr("plug-in library " + folder() + "/no_such.so"),
                                           HasSubstr("cannot be loaded"), HasSubstr("No such file")));
  EXPECT_THAT(failure("/dev/null"), HasSubstr("plug-in library /dev/null cannot be loaded"));
  load({"libtest_plugin_good.so"});
  // Also when it is loaded already, and whatever others have brought.
  for (int time = 0; time < 2; ++time) {
    EXPECT_THAT(failure("libtest_plugin_undeclared.so"), HasSubstr("does not declare what it is"));
    EXPECT_THAT(failure("libtest_plugin_demanding.so"), HasSubstr("needs \"qz_poa\" version \"4\""));
    EXPECT_THAT(failure("libtest_plugin_empty.so"), HasSubstr("brings no locator plug-in"));
  }
}

class OtherPlugin : public virtual QZ_PlugIn::PlugIn, public QZ_CORBA::RefCountedLocalObject {
 public:
  explicit OtherPlugin(const char* name) : m_name(name) {}
  CORBA::Long type() override { return 1; }
  char* name() override { return CORBA::string_dup(m_name); }

 private:
  const char* m_name;
};

TEST(PluginManager, KnowsPluginsByNameWhileTheyAreRegistered) {
  const QZ_PlugIn::PlugInManager_var manager = QZ_PlugIn::plugin_manager();
  QZ_PlugIn::PlugIn_var one = new OtherPlugin("one");
  QZ_PlugIn::PlugIn_var two = new OtherPlugin("two");
  manager->register_plugin(one);
  manager->register_plugin(two);
  EXPECT_THROW(manager->register_plugin(one), CORBA::BAD_PARAM);
  EXPECT_THROW(manager->register_plugin(QZ_PlugIn::PlugIn::_nil()), CORBA::BAD_PARAM);
  const QZ_PlugIn::PlugIn_var found = manager->find("two");
  EXPECT_EQ(found.in(), two.in());
  manager->unregister_plugin("unknown");
  manager->unregister_plugin("two");
  EXPECT_TRUE(CORBA::is_nil(QZ_PlugIn::PlugIn_var(manager->find("two"))));
  manager->unregister_plugin("one");
}

TEST(ShlibInit, DeclaresALibraryWhileItIsThere) {
  const auto before = QZ_Shlib_Init::declared().size();
  {
    const QZ_Shlib_Dependency needs[] = {{"a", "1", 0x201}, {"b", nullptr, 2}, {nullptr, nullptr, 0}};
    const QZ_Shlib_Init init("library", "3", needs, QZ_global_exception_handler());
    const auto declared = QZ_Shlib_Init::declared();
    ASSERT_EQ(declared.size(), before + 1);
    EXPECT_EQ(declared.back().dependencies.at(0).name, "a");
    EXPECT_EQ(declared.back().dependencies.at(0).word, 0x201u);
    EXPECT_EQ(declared.back().dependencies.at(1).version, "");
  }
  EXPECT_EQ(QZ_Shlib_Init::declared().size(), before);
}

TEST(ShlibInit, TellsTheHandlerOfADescriptorThatIsNone) {
  const auto before = QZ_Shlib_Init::declared().size();
  std::string told;
  const auto handler = [&](const std::string& what) { told = what; };
  const QZ_Shlib_Init nameless(nullptr, "3", nullptr, handler);
  EXPECT_THAT(told, HasSubstr("no description"));
  const QZ_Shlib_Init versionless("library", "", nullptr, handler);
  EXPECT_THAT(told, HasSubstr("library declares no version"));
  const std::vector<QZ_Shlib_Dependency> endless(100, {"a", "1", 0});
  const QZ_Shlib_Init runaway("library", "3", endless.data(), handler);
  EXPECT_THAT(told, HasSubstr("without an end"));
  EXPECT_EQ(QZ_Shlib_Init::declared().size(), before);
}

}  // namespace
