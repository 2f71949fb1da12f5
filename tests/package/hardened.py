"""hardened.py BINARY…: what the loader and the kernel do to make attacks harder is on in each binary."""

import sys

from support import output_of, report

failures = []
for binary in sys.argv[1:]:
    dynamic = output_of("readelf", "--dynamic", "--wide", binary)
    segments = output_of("readelf", "--program-headers", "--wide", binary)
    symbols = output_of("readelf", "--dyn-syms", "--wide", binary)
    stack = next((line for line in segments.splitlines() if "GNU_STACK" in line), "RWE")
    checks = {
        "relocations are read-only": "GNU_RELRO" in segments,
        "symbols are bound at the start": "NOW" in dynamic,
        "the stack cannot be executed": "RWE" not in stack,
        "nothing in the code is relocated": "TEXTREL" not in dynamic,
        "the stack is guarded": "__stack_chk_fail" in symbols,
    }
    failures += [f"{binary}: it does not hold that {what}" for what, holds in checks.items() if not holds]
report(failures)
