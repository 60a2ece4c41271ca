# Thin wrapper around CMake and CTest.
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all build test asan tsan clean format

all: build

build:
	cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS)
	cmake --build build -j $(JOBS)

test: build
	ctest --test-dir build --output-on-failure -j $(JOBS)

asan:
	cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQVT_SANITIZE=address $(CMAKE_FLAGS)
	cmake --build build-asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
		ctest --test-dir build-asan --output-on-failure -j $(JOBS)

tsan:
	cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQVT_SANITIZE=thread $(CMAKE_FLAGS)
	cmake --build build-tsan -j $(JOBS)
	TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
		ctest --test-dir build-tsan --output-on-failure -j $(JOBS)

format:
	git ls-files '*.cpp' '*.h' '*.c' | xargs clang-format -i

clean:
	rm -rf build build-asan build-tsan
