# The commands of this project; README.md says what each is for. All of them do their own set-up.
SHELL := /bin/bash
.DEFAULT_GOAL := build

# ccache finds its entries again from any folder the repository is cloned into.
export CCACHE_BASEDIR := $(CURDIR)
export CCACHE_NOHASHDIR := 1
# What it asks for before it serves files that use a precompiled header.
export CCACHE_SLOPPINESS := pch_defines,time_macros
JOBS ?= $(shell nproc 2>/dev/null || sysctl -n hw.ncpu)
TESTS ?= .
SOAK_SECONDS ?= 600
STORM_KILLS ?= 100
STORM_PARTS ?=
MUTANTS ?= .
ARGS ?=
# The framework declarations keep the layout of the headers they stand in for.
FORMATTED := '*.h' '*.cpp' '*.mm' ':!:platform/cocoa/interfaces' ':!:tests/platform/cocoa/declarations'

.PHONY: build run test sanitize tsan soak storm mutants bench fuzz format lint docs screenshots macos \
  test-cocoa test-cocoa-mutants test-web package test-package test-debian13 clean

build:
	@tools/setup build
	cmake --preset release -DBUILD_TESTING=OFF
	cmake --build --preset release --parallel $(JOBS)

run:
	@tools/setup build run
	cmake --preset release -DBUILD_TESTING=OFF
	cmake --build --preset release --parallel $(JOBS) --target Zorvane
	@tools/run $(ARGS)

test:
	@tools/setup build run test
	cmake --preset release -DBUILD_TESTING=ON
	cmake --build --preset release --parallel $(JOBS)
	ctest --test-dir build/release --output-on-failure --parallel $(JOBS) -R '$(TESTS)'

# The unit and integration tests under the address and undefined behaviour sanitizers, by clang where
# there is one: it compiles that in half of the time of g++ and sees more.
sanitize:
	@tools/setup build run test sanitizers
	if command -v clang++-19 >/dev/null; then export CC=clang-19 CXX=clang++-19; fi && cmake --preset asan-ubsan
	cmake --build --preset asan-ubsan --parallel $(JOBS)
	ctest --test-dir build/asan-ubsan --output-on-failure --parallel $(JOBS) -L 'unit|integration' -R '$(TESTS)'

# The same under the thread sanitizer.
tsan:
	@tools/setup build run test
	cmake --preset tsan
	cmake --build --preset tsan --parallel $(JOBS)
	ctest --test-dir build/tsan --output-on-failure --parallel $(JOBS) -L 'unit|integration' -R '$(TESTS)'

# The real application for SOAK_SECONDS while its server is killed and the tray restarted at random,
# and then each process that shows its window killed fifty times;
# takes its time, so no other target runs it.
soak:
	@tools/setup build run test
	cmake --preset release -DBUILD_TESTING=ON
	cmake --build --preset release --parallel $(JOBS) --target soak desktop_application_test
	@build/release/tests/soak/soak $(SOAK_SECONDS)
	@ZORVANE_DEATHS=50 build/release/tests/desktop/desktop_application_test \
	  --gtest_filter='Every/DeathOf.*'

# The real application and its guardian killed STORM_KILLS times at random moments with each kind of
# server, beside port stealers, flooded with output, and under limits; nothing may be left and no
# stranger asked. STORM_PARTS names the parts to run; none means all.
storm:
	@tools/setup build run test
	cmake --preset release -DBUILD_TESTING=ON
	cmake --build --preset release --parallel $(JOBS) --target storm
	@build/release/tests/storm/storm $(STORM_KILLS) $(if $(STORM_PARTS),$$RANDOM $(STORM_PARTS))

# Takes one rule after the other out of the code and demands that its test notices; those whose file
# or test matches MUTANTS (all). Takes long, so no other target runs it.
mutants:
	@tools/setup build run test
	@tests/mutants/run '$(MUTANTS)'

# The web interface of ostrad in headless Chromium, with axe-core from npm.
test-web:
	@tools/setup build run web
	cmake --preset release -DBUILD_TESTING=OFF
	cmake --build --preset release --parallel $(JOBS) --target ostrad
	@tests/ostrad/browser/run build/Zorvane.app/Contents/MacOS/ostrad

bench:
	@tools/setup build run test bench
	cmake --preset release -DBUILD_TESTING=ON -DZORVANE_BENCH=ON
	cmake --build --preset release --parallel $(JOBS)
	@bench/run

# Feeds made-up input to everything that reads what others wrote, FUZZ_SECONDS (20) a target; those
# that match FUZZ (all).
fuzz:
	@tools/setup build sanitizers
	cmake --preset fuzz
	cmake --build --preset fuzz --parallel $(JOBS)
	@fuzz/run

# Zorvane.app for macOS and the tests that a Mac builds, compiled, linked and examined without a Mac:
# build/macos/Zorvane.app.
macos:
	@tools/setup-macos
	@tools/check-scripts
	cmake --preset macos
	cmake --build --preset macos --parallel $(JOBS)
	@tools/macos-check build/macos/Zorvane.app

# The macOS back end, executed here: docs/cocoa-host.md.
test-cocoa:
	@tools/setup build run test cocoa
	cmake --preset cocoa-host
	cmake --build --preset cocoa-host --parallel $(JOBS)
	ctest --test-dir build/cocoa-host --output-on-failure --parallel $(JOBS) -L cocoa-host -R '$(TESTS)'

# Takes one rule after the other out of the macOS back end, as `make mutants` does elsewhere. Takes
# long, so no other target runs it.
test-cocoa-mutants:
	@tools/setup build run test cocoa
	@tests/mutants/run --cocoa-host '$(MUTANTS)'

# The reference of Tessel's public interface: build/docs/index.html. A comment that is missing, or that
# Doxygen cannot follow, is an error.
docs:
	@tools/setup docs
	@rm -rf build/docs
	@mkdir -p build/docs
	doxygen docs/api/Doxyfile

screenshots:
	@tools/setup build run test
	cmake --preset release -DBUILD_TESTING=OFF
	cmake --build --preset release --parallel $(JOBS) --target Zorvane
	@tools/screenshots

format:
	@tools/setup lint
	git ls-files $(FORMATTED) | xargs clang-format-19 -i

lint:
	@tools/setup build run test lint
	git ls-files $(FORMATTED) | xargs clang-format-19 --dry-run --Werror
	@tests/mutants/run --check
	@tests/mutants/run --check --cocoa-host
	cmake --preset clang
	cmake --build --preset clang --parallel $(JOBS)
	git ls-files '*.cpp' ':!:*cocoa*' ':!:bench' | xargs -P $(JOBS) -n 4 clang-tidy-19 --quiet -p build/clang

# On a Mac: signs, notarises and makes a disk image, as far as credentials are given
# (packaging/macos/*.sh name them). On Debian: build/zorvane_VERSION_ARCHITECTURE.deb, examined by
# lintian and the desktop's own validators; `make test-package` also installs, starts and removes
# it, as root.
ifeq ($(shell uname),Darwin)
package: build
	@packaging/macos/package build/Zorvane.app build/Zorvane.dmg
else
package: build
	@tools/setup package
	@packaging/linux/package

test-package: package
	@tools/setup run test
	@packaging/linux/test-package
endif

# The committed tree built and tested on Debian 13, from a bare system; as root. The system is kept
# in build/debian13.
test-debian13:
	@tools/test-debian13 test JOBS=$(JOBS) TESTS='$(TESTS)'

clean:
	rm -rf build
