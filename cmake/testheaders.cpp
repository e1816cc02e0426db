// Exists so that its target can hold the precompiled headers of the unit tests.
