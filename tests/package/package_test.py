# SPDX-License-Identifier: MIT
"""The packages that cpack makes of a build: the Debian package in a clean root, the archive in any folder.

Usage: package_test.py CPACK CONFIGURATION_OF_CPACK BUILD_TYPE VERSION"""

import gzip
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tarfile
import tempfile
import unittest

CPACK, CONFIGURATION, BUILD_TYPE, VERSION = sys.argv[1:5]
SKIPPED = 77
MISSING = [tool for tool in ("dpkg", "dpkg-deb", "dpkg-shlibdeps", "file", "man", "pkg-config", "cmake")
           if shutil.which(tool) is None]
if MISSING:
    print(f"skipped: {', '.join(MISSING)} not found (scripts/install-packages test)")
    sys.exit(SKIPPED)

# dpkg wants the tools of the system administrator in the path.
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"}
OPTION = re.compile(r"(?<![\w-])--?[a-z][a-z-]*")

COMPLETE = """
source "$1"; shift
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
[[ $(complete -p rydecon) =~ -F\\ ([a-z_]+) ]] && "${BASH_REMATCH[1]}"
printf '%s\\n' "${COMPREPLY[@]}"
"""


def run(*words, check=True, cwd=None, **environment):
    finished = subprocess.run([str(word) for word in words], capture_output=True, text=True, check=False, cwd=cwd,
                              env={**ENVIRONMENT, **environment})
    if check and finished.returncode != 0:
        raise AssertionError(f"{finished.args} ended with {finished.returncode}:\n{finished.stdout}{finished.stderr}")
    return finished


class Packages(unittest.TestCase):
    """Packages made once for all tests; the Debian package of the program installed below `root`."""

    @classmethod
    def setUpClass(cls):
        cls.holder = tempfile.TemporaryDirectory(prefix="rydecon packages ")
        cls.folder = pathlib.Path(cls.holder.name)
        made = cls.folder / "made"
        # With make cpack builds first; a test leaves the build as it is.
        run(CPACK, "--config", CONFIGURATION, "-C", BUILD_TYPE, "-B", made, "-D", "CPACK_CMAKE_GENERATOR=Ninja")
        cls.packages = {run("dpkg-deb", "-f", path, "Package").stdout.strip(): path for path in made.glob("*.deb")}
        cls.archives = list(made.glob("*.tar.gz"))
        cls.root = cls.folder / "root"
        cls.install()
        cls.program = cls.root / "usr/bin/rydecon"
        cls.share = cls.root / "usr/share"
        listed = run(cls.program, "--help").stdout.split("Commands:\n")[1].split("\n\n")[0]
        cls.commands = re.findall(r"^  ([a-z][a-z-]*)  ", listed, re.MULTILINE)
        assert {"restore", "psf", "simulate", "compare", "view"} <= set(cls.commands)

    @classmethod
    def install(cls):
        """By dpkg, which believes that this machine's packages stand in the root, and so checks the dependencies."""
        state = cls.root / "var/lib/dpkg"
        for name in ("info", "updates"):
            (state / name).mkdir(parents=True)
        if os.geteuid() != 0:  # dpkg gives files to root
            for package in cls.packages.values():
                run("dpkg-deb", "-x", package, cls.root)
            return
        shutil.copy("/var/lib/dpkg/status", state)
        cls.dpkg(cls.root, "--install", *cls.packages.values())

    @classmethod
    def dpkg(cls, root, *words):
        # The root has no shell; a package with shared libraries calls ldconfig, which is no matter of this machine.
        idle = cls.folder / "idle"
        if not idle.exists():
            idle.mkdir()
            (idle / "ldconfig").symlink_to("/bin/true")
        run("dpkg", f"--root={root}", "--force-script-chrootless", *words, PATH=f"{idle}:{ENVIRONMENT['PATH']}")

    @classmethod
    def tearDownClass(cls):
        cls.holder.cleanup()

    def use(self, program):
        """A small stack made, restored and judged."""
        with tempfile.TemporaryDirectory(dir=self.folder) as place:
            run(program, "simulate", "-o", "demo", "--size", 32, 32, 16, cwd=place)
            run(program, "restore", "demo/blurred.tif", "--psf", "demo/psf.tif", "-o", "restored.tif", cwd=place)
            before, after = (float(run(program, "compare", name, "demo/truth.tif", cwd=place).stdout.split()[1])
                             for name in ("demo/blurred.tif", "restored.tif"))
            self.assertLess(after, before)
            run(program, "view", "restored.tif", "-o", "restored.png", cwd=place)

    def page(self, name):
        with gzip.open(self.share / "man/man1" / f"{name}.1.gz", "rt", encoding="utf-8") as file:
            return file.read()

    def complete(self, *words, place=None):
        script = self.share / "bash-completion/completions/rydecon"
        finished = run("bash", "--norc", "-c", COMPLETE, "bash", script, "rydecon", *words, cwd=place)
        self.assertEqual(finished.stderr, "")
        return finished.stdout.split("\n")[:-1] if finished.stdout.strip() else []

    def options(self, *command):
        """Names in the first column of --help."""
        names = set()
        for line in run(self.program, *command, "--help").stdout.splitlines():
            if re.match(r"  -", line):
                names.update(OPTION.findall(re.split(r"  +", line.strip())[0]))
        return names

    # ---- Debian packages ----

    def field(self, package, name):
        return run("dpkg-deb", "-f", self.packages[package], name).stdout.strip()

    def test_control_fields(self):
        self.assertEqual(self.field("rydecon", "Version"), VERSION)
        self.assertEqual(self.field("rydecon", "Section"), "science")
        self.assertEqual(self.field("rydecon", "Maintainer"), "The rydecon developers <rydecon@localhost>")
        self.assertRegex(self.field("rydecon", "Description"), r"\Arestoration of .*\n Takes the blur")
        self.assertEqual(self.field("libgnr-deconvolution-dev", "Section"), "libdevel")

    def test_dependencies_are_those_of_the_program(self):
        names = {entry.split()[0] for entry in self.field("rydecon", "Depends").split(", ")}
        self.assertLessEqual({"libc6", "libstdc++6", "libtiff6", "libpng16-16", "libpugixml1v5", "zlib1g"}, names)
        self.assertFalse([name for name in names if name.endswith("-dev")])

    def test_installed_program_works(self):
        self.use(self.program)

    def test_no_file_belongs_to_two_packages(self):
        seen = set()
        for package in self.packages.values():
            lines = run("dpkg-deb", "-c", package).stdout.splitlines()
            files = {line.split(maxsplit=5)[5] for line in lines if not line.startswith("d")}
            self.assertFalse(files & seen)
            seen |= files

    def test_papers(self):
        for package in self.packages:
            folder = self.share / "doc" / package
            self.assertIn("Permission is hereby granted", (folder / "copyright").read_text())
        for document in (self.share / "doc").glob("*/*.md"):
            for target in re.findall(r"\]\(([a-z-]+\.md)", document.read_text()):
                self.assertTrue((document.parent / target).exists(), f"{document} refers to {target}")

    @unittest.skipIf(os.geteuid() != 0, "dpkg removes as root only")
    def test_removal_leaves_nothing(self):
        other = self.folder / "root to clean"
        shutil.copytree(self.root, other, symlinks=True)
        self.dpkg(other, "--purge", *self.packages)
        self.assertEqual([path for path in (other / "usr").rglob("*") if not path.is_dir()], [])

    # ---- manual ----

    def test_every_command_has_a_page_without_warnings(self):
        pages = sorted((self.share / "man/man1").iterdir())
        self.assertEqual([page.name for page in pages],
                         sorted(["rydecon.1.gz", *(f"rydecon-{command}.1.gz" for command in self.commands)]))
        for page in pages:
            finished = run("man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page)
            self.assertEqual(finished.stderr, "")
            found = run("man", "-M", self.share / "man", "-w", page.name.split(".")[0]).stdout.strip()
            self.assertEqual(pathlib.Path(found), page)

    def test_pages_have_every_option(self):
        for command in self.commands:
            tags = re.findall(r"^\.TP\n(.*)$", self.page(f"rydecon-{command}"), re.MULTILINE)
            plain = re.sub(r"\\f[BIP]", "", " ".join(tags)).replace("\\-", "-")
            named = set(OPTION.findall(plain))
            self.assertGreater(len(self.options(command)), 1)
            self.assertEqual(self.options(command) - named, set(), command)

    # ---- completion ----

    def test_completion_of_commands_and_options(self):
        self.assertEqual(self.complete(""), self.commands)
        self.assertEqual(self.complete("-q", "s"), ["simulate"])
        self.assertEqual(self.complete("--ver"), ["--version"])
        for command in self.commands:
            offered = set(self.complete(command, "-"))
            self.assertEqual(offered, self.options(command) | {"-q", "--quiet"})
        self.assertEqual(self.complete("restore", "in.tif", "--psf", "psf.tif", "--ite"), ["--iterations"])

    def test_completion_of_fixed_values(self):
        refusal = run(self.program, "restore", "a.tif", "-o", "b.tif", "--method", "nope", check=False).stderr
        methods = re.search(r"methods are: ([a-z, -]+)", refusal).group(1).split(", ")
        self.assertEqual(sorted(self.complete("restore", "--method", "")), sorted(methods))
        self.assertEqual(self.complete("restore", "--method", "=", "acc"), ["accelerated"])
        self.assertEqual(sorted(self.complete("restore", "--method", "=")), sorted(methods))
        refusal = run(self.program, "psf", "-o", "b.tif", "--modality", "nope", check=False).stderr
        modalities = re.search(r"modalities are: ([a-z0-9, -]+)", refusal).group(1).split(", ")
        self.assertEqual(sorted(self.complete("psf", "--modality", "")), sorted(modalities))
        self.assertEqual(self.complete("psf", "--model", "l"), ["layered"])
        self.assertEqual(self.complete("restore", "--inner", ""), ["1", "10", "20"])
        self.assertEqual(self.complete("restore", "--tiles", ""), ["auto"])

    def test_completion_of_names(self):
        with tempfile.TemporaryDirectory() as place:
            (pathlib.Path(place) / "in put.tif").touch()
            (pathlib.Path(place) / "folder").mkdir()
            self.assertEqual(self.complete("restore", "in", place=place), ["in put.tif"])
            self.assertEqual(sorted(self.complete("restore", "--psf", "", place=place)), ["folder", "in put.tif"])
            self.assertEqual(self.complete("simulate", "-o", "", place=place), ["folder"])
            self.assertEqual(self.complete("compare", "a.tif", "in", place=place), ["in put.tif"])
            # Numbers have no names, and there is no third argument.
            self.assertEqual(self.complete("simulate", "--size", "8", "", place=place), [])
            self.assertEqual(self.complete("compare", "a.tif", "b.tif", "", place=place), [])
            self.assertEqual(self.complete("restore", "--na", "", place=place), [])

    # ---- archive ----

    def test_archive_works_anywhere(self):
        self.assertEqual(len(self.archives), 1)
        self.assertIn(f"-{VERSION}-", self.archives[0].name)
        place = self.folder / "any where"
        with tarfile.open(self.archives[0]) as archive:
            archive.extractall(place)
        first = next(place.iterdir())
        self.use(first / "bin/rydecon")
        moved = first.rename(self.folder / "moved")
        self.use(moved / "bin/rydecon")
        for name in ("include/gnr_deconvolution/gnr_deconvolution.h", "share/man/man1/rydecon.1.gz",
                     "share/bash-completion/completions/rydecon"):
            self.assertTrue((moved / name).is_file(), name)

    # ---- version ----

    def test_versions_agree(self):
        self.assertEqual(run(self.program, "--version").stdout, f"rydecon {VERSION}\n")
        self.assertEqual(self.field("libgnr-deconvolution-dev", "Version"), VERSION)
        for command in ("", *(f"-{command}" for command in self.commands)):
            self.assertIn(f'"rydecon {VERSION}"', self.page(f"rydecon{command}").split("\n")[0])
        script = (self.share / "bash-completion/completions/rydecon").read_text()
        self.assertEqual(script.split("\n")[0], f"# bash completion for rydecon {VERSION}")
        described = run("pkg-config", "--modversion", "gnr_deconvolution",
                        PKG_CONFIG_PATH=next(self.root.rglob("gnr_deconvolution.pc")).parent)
        self.assertEqual(described.stdout.strip(), VERSION)
        probe = self.folder / "version.cmake"
        probe.write_text(f'include("{next(self.root.rglob("gnr_deconvolutionConfigVersion.cmake"))}")\n'
                         'message("${PACKAGE_VERSION}")\n')
        self.assertEqual(run("cmake", "-P", probe).stderr.strip(), VERSION)
        for library in self.root.rglob("lib*.so.*.*"):
            self.assertTrue(library.name.endswith(f".so.{VERSION}"), library.name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
