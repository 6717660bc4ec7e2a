# The one place where the version stands. Both libraries and the project as a whole carry it; while it begins with 0,
# the soname is its first two numbers, since every minor version may change the binary interface.
set(NIMBO_VERSION 0.1.0)
set(NIMBO_SOVERSION 0.1)
