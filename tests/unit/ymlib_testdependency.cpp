// A DLL that only lies beside the test module, and has no class objects.
extern "C" __declspec(dllexport) int YmlibTestDependencyAnswer() {
    return 42;
}
