// A library that does not say what it is.
extern "C" int test_plugin_undeclared() {
  return 1;
}
