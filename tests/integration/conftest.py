# SPDX-License-Identifier: Apache-2.0
import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent))

from harness import Lab  # noqa: E402


@pytest.fixture
def lab(request):
    lab = Lab(request.node.name.replace("[", "-").replace("]", "")[:40])
    yield lab
    lab.close()
