# The project's commands, one line each; what they do is in tools/. ARGS="..." goes to the program that is run.
.PHONY: run test bench fuzz reliability memcheck pictures lint format clean install-deps

run:
	@tools/run.sh $(ARGS)

test:
	@tools/test.sh release

bench:
	@tools/bench.sh $(ARGS)

fuzz:
	@tools/fuzz.sh $(ARGS)

reliability:
	@tools/reliability.sh $(ARGS)

memcheck:
	@tools/memcheck.sh

pictures:
	@tools/pictures.sh

lint:
	@tools/lint.sh

format:
	@tools/format.sh

clean:
	rm -rf build

install-deps:
	@tools/install_dependencies.sh build display lint
