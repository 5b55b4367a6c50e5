// A shared library that is not a plug-in: it exports neither VSTPluginMain
// nor main, so the host must refuse it with a clear message.
extern "C" __attribute__((visibility("default"))) int graphiceq_not_a_plugin() { return 42; }
