# The Debian packages that each task needs; sourced by the scripts at the top of the tree.
build_packages=(build-essential cmake ninja-build pkg-config libusb-1.0-0-dev libumockdev-dev umockdev)
test_packages=("${build_packages[@]}" libgtest-dev libgmock-dev man-db zsh iproute2 parallel ansible-core openssh-client)
lint_packages=(clang-format clang-tidy)
bench_packages=("${build_packages[@]}" libbenchmark-dev)
lintian_packages=(dpkg-dev file lintian)
coverage_packages=("${test_packages[@]}" gcovr)
fuzz_packages=("${test_packages[@]}" clang llvm)
