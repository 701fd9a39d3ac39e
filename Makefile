# make run   - install what is missing, build, and start the program
# make test  - install, build and run every test suite, then again with the sanitizers
# make bench - build as make build does (the flags users get) and run the benchmarks against
#              their baselines
# make install [PREFIX=/usr/local] [DESTDIR=] - build, then install the program, its manual,
#              manual page, desktop entry, icons and shell completion
# make package - build with optimisation and make a Debian package of it (build-package/*.deb)
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=
PREFIX ?= /usr/local
DESTDIR ?=

.PHONY: deps build run test test-plain test-asan test-fuzz bench install package format clean

deps:
	@scripts/install-deps.sh

build: deps
	cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX="$(PREFIX)" $(CMAKE_FLAGS)
	cmake --build build -j $(JOBS)

run: build
	scripts/run.sh

test: deps
	$(MAKE) test-plain test-asan test-fuzz

test-plain:
	cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS)
	cmake --build build -j $(JOBS)
	scripts/with-display.sh ctest --test-dir build --output-on-failure -j $(JOBS)

test-asan:
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DQUORVEX_SANITIZE=ON $(CMAKE_FLAGS)
	cmake --build build-asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  scripts/with-display.sh ctest --test-dir build-asan --output-on-failure -j $(JOBS)

test-fuzz:
	CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUORVEX_FUZZ=ON
	cmake --build build-fuzz -j $(JOBS)
	ctest --test-dir build-fuzz --output-on-failure

bench: deps
	cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUORVEX_TESTS=OFF -DQUORVEX_BENCH=ON
	cmake --build build-bench -j $(JOBS)
	SDL_AUDIODRIVER=$${SDL_AUDIODRIVER:-dummy} scripts/with-display.sh ./build-bench/bench/quorvex_bench

install: build
	DESTDIR="$(DESTDIR)" cmake --install build --prefix "$(PREFIX)"

package: deps
	cmake -S . -B build-package -DCMAKE_BUILD_TYPE=Release -DQUORVEX_TESTS=OFF \
	  -DCMAKE_INSTALL_PREFIX=/usr $(CMAKE_FLAGS)
	cmake --build build-package -j $(JOBS)
	cd build-package && cpack

format:
	git ls-files '*.cpp' '*.h' '*.inl' | xargs clang-format -i

clean:
	rm -rf build build-asan build-fuzz build-bench build-package
