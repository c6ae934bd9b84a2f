"""Run the program on one case in a scratch folder and compare: run_case.py PROGRAM CASE DATA."""

import os
import shutil
import subprocess
import sys
import tempfile


def main(program, case, data):
    here = os.path.dirname(os.path.abspath(__file__))
    with tempfile.TemporaryDirectory() as folder:
        shutil.copy(case, folder)
        flags = os.path.join(os.path.dirname(os.path.abspath(case)), "orvel.ini")
        if os.path.exists(flags):
            shutil.copy(flags, folder)
        name = os.path.basename(case)
        settings = dict(cwd=folder, env=dict(os.environ, ORVEL_DATA=os.path.abspath(data)))
        run = subprocess.run([os.path.abspath(program), name], stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, text=True, **settings)
        if run.returncode:
            print(run.stdout[-2000:])
            return 1
        return subprocess.run([sys.executable, os.path.join(here, "compare.py"), name],
                              **settings).returncode


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:4]))
