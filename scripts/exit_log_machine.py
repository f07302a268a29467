"""The machine state that switches the exit log on, in the Wine prefix: the registry value
DumpFlowOnExit and the maker's log folder C:\\ProgramData\\Orvane\\Logs. Whatever a check
changes is put back by restore()."""
import os
import re
import shutil
import subprocess
import time

KEY = r"HKLM\Software\Orvane\Talvex4\Logging"
VALUE = "DumpFlowOnExit"
EXIT_LOG_NAME = re.compile(r"^LumoDiscoveryHelper_exit_(\d{8}_\d{6})\.log$")


class ExitLogMachine:
    def __init__(self, wine):
        self.wine = wine
        prefix = subprocess.run([wine, "prefix"], capture_output=True, text=True,
                                check=True).stdout.strip()
        self.maker = os.path.join(prefix, "drive_c", "ProgramData", "Orvane")
        self.folder = os.path.join(self.maker, "Logs")
        self.maker_existed = os.path.isdir(self.maker)
        self.folder_existed = os.path.isdir(self.folder)
        self.files_before = self.files()

    def reg(self, *args):
        # The machine's native (64-bit) view, the one a 64-bit helper reads.
        return subprocess.run([self.wine, "run", "reg", *args, "/reg:64"],
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=120)

    def set_value(self, value):
        """value None removes it."""
        if value is None:
            self.reg("delete", KEY, "/v", VALUE, "/f")
            return
        result = self.reg("add", KEY, "/v", VALUE, "/t", "REG_DWORD", "/d", str(value), "/f")
        assert result.returncode == 0, result.stderr

    def provide_folder(self, present):
        if present:
            os.makedirs(self.folder, exist_ok=True)
        elif os.path.isdir(self.folder):
            shutil.rmtree(self.folder)

    def files(self):
        return set(os.listdir(self.folder)) if os.path.isdir(self.folder) else set()

    def restore(self):
        self.set_value(None)
        for name in self.files() - self.files_before:
            os.remove(os.path.join(self.folder, name))
        if self.folder_existed:
            os.makedirs(self.folder, exist_ok=True)
        elif os.path.isdir(self.folder) and not os.listdir(self.folder):
            os.rmdir(self.folder)
        if not self.maker_existed and os.path.isdir(self.maker) and not os.listdir(self.maker):
            os.rmdir(self.maker)


def stamps_between(started, finished):
    """Every local-time file stamp (YYYYMMDD_hhmmss) of a run, with a second of slack."""
    return {time.strftime("%Y%m%d_%H%M%S", time.localtime(t))
            for t in range(int(started) - 1, int(finished) + 2)}
