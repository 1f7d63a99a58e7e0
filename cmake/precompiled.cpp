// Compiled only to make the precompiled headers.
