// The module is the core library linked whole from its one export, Decode (see CMakeLists.txt).
