"""Checks that the services' library shows its interface to others and nothing else.

check_exports.py NM LIBRARY    fails with one line for each symbol that is missing or should be hidden
check_exports.py --self-check  checks the check against planted faults
"""

import re
import subprocess
import sys

ALLOWED = re.compile(
    r"(ORQSrv\w+(::.*|\(.*\)|\[.*)?"
    r"|omi_Singleton(Base)?<ORQSrv\w+>::.*"
    r"|(typeinfo|typeinfo name|vtable) for ORQSrv\w+(::\w+)*)$"
)
UNMANGLED = {"ORQSrvBasic_initializeC", "ORQSrvBasic_finalizeC"}
COUNTED = ["ORQSrvBasic", "ORQSrvBasic_specific", "ORQSrvFsm", "ORQSrvKwd", "ORQSrvSsm"]
REQUIRED = UNMANGLED | {
    "ORQSrvBasic_loaderEntry(ORQSrvLoaderReason)",
    "ORQSrvBasic_marker()",
    "omi_Singleton<ORQSrvBulkShellLayers>::Instance()",
    "omi_SingletonBase<ORQSrvBulkShellLayers>::Finalize()",
} | {f"{name}_{action}(int&)" for name in COUNTED for action in ("initialize", "finalize")}


def faults(symbols):
    for symbol in sorted(symbols):
        # A plain name is a variable or an unmangled function; the interface has but two of them.
        is_plain = re.fullmatch(r"\w+", symbol) is not None
        if not ALLOWED.match(symbol) or (is_plain and symbol not in UNMANGLED):
            yield f"should be hidden: {symbol}"
    for symbol in sorted(REQUIRED - symbols):
        yield f"missing: {symbol}"


def exported(nm, library):
    listing = subprocess.run([nm, "-D", "--defined-only", "--demangle", library],
                             check=True, capture_output=True, text=True).stdout
    # ADDRESS KIND NAME; absolute symbols name the version.
    rows = [line.split(maxsplit=2) for line in listing.splitlines()]
    return {name for _, kind, name in rows if kind != "A"}


def self_check():
    sound = REQUIRED | {"ORQSrvShellSection::GetMaterials() const",
                        "typeinfo for ORQSrvShellSection"}
    assert not list(faults(sound)), list(faults(sound))
    for planted in ("std::vector<int>::push_back(int)", "ORQSrvCounter", "helper()",
                    "std::map<ORQSrvFoo, int>::clear()", "typeinfo for ORQBasException",
                    "omi_Singleton<Other>::Instance()"):
        assert len(list(faults(sound | {planted}))) == 1, planted
    assert len(list(faults(sound - {"ORQSrvBasic_marker()"}))) == 1


def main(arguments):
    if arguments == ["--self-check"]:
        self_check()
        return 0
    found = list(faults(exported(*arguments)))
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
