# The two commands of the README, and the targets behind them.
#
#   make demo    install what is missing, build, start the configurator
#   make test    install what is missing, build, run every test
#
# Other targets: build, bench, package (the .deb), fuzz-long, clean. Variables: ARGS (passed to
# velkonf by demo, e.g. ARGS=enu), FUZZ_SECONDS (per fuzz target in make test).

SHELL        := /bin/bash
BUILD        ?= build
BUILD_ASAN   ?= build-asan
BUILD_TSAN   ?= build-tsan
BUILD_FUZZ   ?= build-fuzz
FUZZ_SECONDS ?= 10
FUZZ_LONG_SECONDS ?= 600
ARGS         ?=
CMAKE_GEN    := -G Ninja
# Tests must not depend on the caller's locale; CI may have no LANG at all.
TEST_ENV     := env LANG=C.UTF-8 LC_ALL= LANGUAGE=
XVFB         := xvfb-run -a -s "-screen 0 1280x1024x24"
# TSan maps its shadow memory at fixed places, which a kernel with high ASLR
# entropy can occupy; running without address randomisation avoids that.
NO_ASLR      := setarch $(shell uname -m) -R

.PHONY: demo test deps build package test-main test-asan test-tsan fuzz fuzz-long bench clean

demo: deps build
	@tools/demo $(BUILD) $(ARGS)

test: deps build test-main test-asan test-tsan fuzz
	@echo "All tests passed."

deps:
	@tools/install-deps

build:
	cmake -S . -B $(BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELK_WERROR=ON
	cmake --build $(BUILD)

test-main: build
	cd $(BUILD) && $(TEST_ENV) $(XVFB) ctest --output-on-failure --timeout 600

test-asan:
	cmake -S . -B $(BUILD_ASAN) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DVELK_SANITIZE=address \
	  -DVELK_WERROR=ON -DVELK_BUILD_GUI=OFF -DVELK_BUILD_BENCH=OFF
	cmake --build $(BUILD_ASAN)
	cd $(BUILD_ASAN) && $(TEST_ENV) ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --output-on-failure --timeout 600

test-tsan:
	cmake -S . -B $(BUILD_TSAN) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELK_SANITIZE=thread \
	  -DVELK_WERROR=ON -DVELK_BUILD_GUI=OFF -DVELK_BUILD_BENCH=OFF
	cmake --build $(BUILD_TSAN)
	cd $(BUILD_TSAN) && $(TEST_ENV) TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
	  $(NO_ASLR) ctest --output-on-failure --timeout 900

fuzz:
	CC=clang CXX=clang++ cmake -S . -B $(BUILD_FUZZ) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DVELK_BUILD_FUZZ=ON -DVELK_BUILD_GUI=OFF -DVELK_BUILD_TESTS=OFF -DVELK_BUILD_BENCH=OFF -DVELK_BUILD_TOOLS=OFF
	cmake --build $(BUILD_FUZZ)
	$(TEST_ENV) fuzz/run $(BUILD_FUZZ) $(FUZZ_SECONDS)

package: deps build
	cmake --build $(BUILD) --target package

fuzz-long:
	$(MAKE) fuzz FUZZ_SECONDS=$(FUZZ_LONG_SECONDS)

bench: deps build
	$(TEST_ENV) tools/bench $(BUILD)

clean:
	rm -rf $(BUILD) $(BUILD_ASAN) $(BUILD_TSAN) $(BUILD_FUZZ)
