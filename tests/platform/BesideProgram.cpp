extern "C" __attribute__((visibility("default"))) int BesideProgramAnswer() { return 42; }
