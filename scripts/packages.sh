# The packages each kind of work needs, by Debian/Ubuntu package name.
# Building and running the launcher.
BEAMORA_BUILD_PACKAGES="cmake ninja-build g++ qt6-base-dev"
# The test suite: the build, the benchmarks it compiles, and the real tools the
# tests drive (openssl, unshare from util-linux, ps from procps).
BEAMORA_TEST_PACKAGES="$BEAMORA_BUILD_PACKAGES libbenchmark-dev libspdlog-dev openssl util-linux procps"
# dbus-daemon, for the private message buses of the session-probe tests.
BEAMORA_TEST_PACKAGES="$BEAMORA_TEST_PACKAGES dbus"
# CI on top: the sanitizer and fuzzing builds with clang, and the format check.
BEAMORA_CI_PACKAGES="$BEAMORA_TEST_PACKAGES clang libclang-rt-dev clang-format git"
