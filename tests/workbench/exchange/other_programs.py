"""other_programs.py FILE...: what MNE-Python reads in recordings, for comparison. One JSON object per file."""

import json
import sys
import warnings

import mne

warnings.simplefilter("ignore")
mne.set_log_level("ERROR")
READERS = {"edf": mne.io.read_raw_edf, "bdf": mne.io.read_raw_bdf, "vhdr": mne.io.read_raw_brainvision,
           "gdf": mne.io.read_raw_gdf}

for name in sys.argv[1:]:
    raw = READERS[name.rsplit(".", 1)[-1]](name, preload=True)
    marks = [[round(float(a["onset"]) * float(raw.info["sfreq"])), str(a["description"]).split("/", 1)[-1]]
             for a in raw.annotations]
    print(json.dumps({"rate": float(raw.info["sfreq"]), "names": raw.ch_names, "samples": int(raw.n_times), "marks": marks,
                      "microvolts": (raw.get_data() * 1e6).tolist()}))
