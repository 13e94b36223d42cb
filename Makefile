# Thin wrapper over CMake + Ninja. Build output goes to build/.
BUILD      ?= build
BUILD_TYPE ?= Release
PREFIX     ?= /usr/local
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

.PHONY: all deps deps-test configure build test demo bench install deb clean

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
	$(BUILD)/bin/glimmerstroll demo -o out/demo.mp4

bench: deps-test build
	bash bench/run.sh $(BUILD)

install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

# The Debian package, built from a copy of the tree: $(BUILD)/deb/glimmerstroll_*.deb
deb: deps-test
	bash scripts/build-deb.sh $(BUILD)/deb

clean:
	rm -rf $(BUILD)
