# Thin wrapper over CMake + Ninja. Build output goes to build/.
BUILD      ?= build
BUILD_TYPE ?= Release
PREFIX     ?= /usr/local
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

.PHONY: all deps configure build test demo bench install clean

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
	$(BUILD)/bin/glimmerstroll demo -o out/demo.mp4

bench: deps build
	bash bench/run.sh $(BUILD)

install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

clean:
	rm -rf $(BUILD)
