// Nothing but a place to compile the precompiled headers of the tests.
