# Thin wrapper over CMake + Ninja. Build output goes to build/.
BUILD      ?= build
BUILD_TYPE ?= Release
PREFIX     ?= /usr/local
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

.PHONY: all deps configure build test demo bench fuzz install clean

all: build

deps:
	bash scripts/install-deps.sh

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) -DCMAKE_INSTALL_PREFIX=$(PREFIX) $(CMAKE_ARGS)

configure: $(BUILD)/build.ninja

build: configure
	cmake --build $(BUILD) -j $(JOBS)

test: deps build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

demo: deps build
	$(BUILD)/bin/glimmerstroll demo -y -o out/demo.mp4

bench: deps build
	bash bench/run.sh $(BUILD)

# Every parser under libFuzzer (clang, ASan + UBSan) in build-fuzz/, FUZZ_SECONDS
# each (default 60), or only the targets named in FUZZ_TARGETS.
FUZZ_BUILD   ?= build-fuzz
FUZZ_SECONDS ?= 60
FUZZ_TARGETS ?=
FUZZ_FLAGS   := -fsanitize=fuzzer-no-link,address,undefined,float-cast-overflow -fno-sanitize-recover=undefined,float-cast-overflow -fno-omit-frame-pointer

fuzz: deps
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DGS_FUZZ=ON \
	  -DGS_BUILD_EDITOR=OFF -DGS_BUILD_BENCH=OFF -DCMAKE_C_FLAGS="$(FUZZ_FLAGS)" -DCMAKE_CXX_FLAGS="$(FUZZ_FLAGS)"
	cmake --build $(FUZZ_BUILD) --target fuzz_targets -j $(JOBS)
	bash tests/fuzz/run.sh $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

clean:
	rm -rf $(BUILD)
