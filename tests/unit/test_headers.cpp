// Empty: CMake needs a source file to compile the precompiled headers of the tests.
