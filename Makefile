# SPDX-License-Identifier: GPL-2.0-or-later
# Thin wrapper over CMake + Ninja. Build output goes to build/.
BUILD      ?= build
BUILD_TYPE ?= Release
PREFIX     ?= /usr/local
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

.PHONY: all deps deps-test configure build test demo bench fuzz install deb clean

all: build

# What building and running needs; deps-test adds the test, benchmark and
# packaging tools.
deps:
	bash scripts/install-deps.sh

deps-test:
	bash scripts/install-deps.sh --test

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) -DCMAKE_INSTALL_PREFIX=$(PREFIX) $(CMAKE_ARGS)

configure: $(BUILD)/build.ninja

build: configure
	cmake --build $(BUILD) -j $(JOBS)

# Tests are built when GoogleTest is found; `make test` asks for them.
test: deps-test
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) -DCMAKE_INSTALL_PREFIX=$(PREFIX) -DGS_BUILD_TESTS=ON $(CMAKE_ARGS)
	cmake --build $(BUILD) -j $(JOBS)
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

demo: deps build
	$(BUILD)/bin/glimmerstroll demo -y -o out/demo.mp4

bench: deps-test build
	bash bench/run.sh $(BUILD)

# Every parser under libFuzzer (clang, ASan + UBSan) in build-fuzz/, FUZZ_SECONDS
# each (default 60), or only the targets named in FUZZ_TARGETS.
FUZZ_BUILD   ?= build-fuzz
FUZZ_SECONDS ?= 60
FUZZ_TARGETS ?=
FUZZ_FLAGS   := -fsanitize=fuzzer-no-link,address,undefined,float-cast-overflow -fno-sanitize-recover=undefined,float-cast-overflow -fno-omit-frame-pointer

fuzz: deps-test
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DGS_FUZZ=ON \
	  -DGS_BUILD_EDITOR=OFF -DGS_BUILD_BENCH=OFF -DCMAKE_C_FLAGS="$(FUZZ_FLAGS)" -DCMAKE_CXX_FLAGS="$(FUZZ_FLAGS)"
	cmake --build $(FUZZ_BUILD) --target fuzz_targets -j $(JOBS)
	bash tests/fuzz/run.sh $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

# The Debian package, built from a copy of the tree: $(BUILD)/deb/glimmerstroll_*.deb
deb: deps-test
	bash scripts/build-deb.sh $(BUILD)/deb

clean:
	rm -rf $(BUILD)
