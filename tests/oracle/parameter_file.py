"""Parameter file: elements, settings block, crystal block and the condition blocks of the jobs."""

import re
from types import SimpleNamespace

SETTINGS = {  # key: default, in the order in which a line is searched for them
    "general_eps": 1e-10, "eigen_eps": 1e-8, "inv_eps": 1e-8, "degeneracy_eps": 1e-8,
    "perturb_step": 0.001, "tol_chisq_abs": 0.01, "tol_chisq_rel": 0.001, "tol_parameter": 0.01,
    "tol_lambda": 10.0, "marq_lambda_max": 1e6, "intensity_scaling": 10000.0, "bc_accuracy": 1.0,
    "corr_threshold": 0.5, "w_sq_coef": 1.0, "w_exponent_coef": 0.0, "w_exponent": 4.0,
    "scale_rst_chisq": 1.0, "e_density_gmax_val": 12.0, "vg_select_flag": 1, "eigmat_func": 0,
    "invmat_func": 0, "bc_invmat_func": 0, "svd_flag": 1, "thickwidth_type": 2, "num_thickwidth": 0,
    "cal_range_flag": 0, "numh": 20, "auto_multiplicity_off": 0, "flag_modified_marquardt": 1}

FLAGS = {"FIX": 0, "0": 0, "RST": 1, "1": 1, "ADJ": 2, "2": 2, "CST": -1, "-1": -1}


def tokens(line):
    return [t for t in re.split(r"[ ,\t]+", line.rstrip("\r\n")) if t]


def number(text):
    """Leading decimal number of a token, 0 when there is none."""
    found = re.match(r"[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?", text)
    return float(found.group()) if found else 0.0


class Elements:
    """The elements of a file in sequence: its lines without comment lines and comment blocks."""

    def __init__(self, path):
        with open(path) as stream:
            self._lines = self._strip_comments(stream.readlines())
        self.unnamed = 0

    @staticmethod
    def _strip_comments(lines):
        inside = False
        for line in lines:
            if inside or line.startswith("COMMENT{"):
                inside = not line.startswith("}COMMENT")
            elif line[0] not in "#%":
                yield line.rstrip("\r\n")

    def line(self):
        return next(self._lines)

    def word(self):
        return tokens(self.line())[0]

    def floats(self, n):
        values = [number(t) for t in tokens(self.line())[:n]]
        return values + [0.0] * (n - len(values))

    def ints(self, n):
        return [int(v) for v in self.floats(n)]

    def one(self):
        return self.floats(1)[0]

    def count(self):
        return self.ints(1)[0]

    def keyword(self, *expected):
        for word in expected:
            found = self.word()
            if found != word:
                raise ValueError(f"expected {word}, found {found}")

    def parameter(self):
        """A fit-parameter line as [name, value, expression or None]."""
        words = tokens(self.line())
        flag = FLAGS.get(words[1]) if len(words) > 1 else None
        if flag is None:
            self.unnamed += 1
            return [f"id{self.unnamed - 1}", number(words[0]), None]
        return [words[2], 0.0, words[0]] if flag == -1 else [words[2], number(words[0]), None]


def read_settings(elements):
    settings = SimpleNamespace(**SETTINGS)
    elements.keyword("EPS_CONTROL_PARAMETERS{")
    while "}EPS_CONTROL_PARAMETERS" not in (line := elements.line()):
        key = next((k for k in SETTINGS if k in line), None)
        if key:
            setattr(settings, key, type(SETTINGS[key])(number(tokens(line)[1])))
    return settings


def read_crystal_block(elements):
    """The crystal as written: every refinable quantity is a [name, value, expression] list."""
    e = elements
    block = SimpleNamespace()
    e.keyword("CRYSTAL_STRUCTURE_DATA{", "LATTICE{")
    block.space_group = e.count()
    block.cell = [e.parameter() for _ in range(6)]
    e.keyword("}LATTICE", "ATOM{")
    block.sites = []
    for _ in range(e.count()):
        e.keyword("SITE{")
        site = SimpleNamespace(element=e.word())
        site.position = [e.parameter() for _ in range(3)]
        site.anisotropic = {"ISO": False, "0": False, "ANISO": True, "1": True}[e.word()]
        # Six lines 11, 22, 33, 12, 13, 23 of an anisotropic site, or one B.
        site.displacement = [e.parameter() for _ in range(6 if site.anisotropic else 1)]
        site.occupancy = e.parameter()
        site.af = e.count()
        e.keyword("}SITE")
        block.sites.append(site)
    e.keyword("}ATOM", "LOW_ORDER_FG{")
    n_low = e.count()
    block.lof_type = e.count() if n_low else 0
    n_values = 2 if block.lof_type in (1, 2) else 2 * len(block.sites)
    block.low_order = []
    for _ in range(n_low):
        hkl = tuple(e.ints(3))
        block.low_order.append((hkl, [e.parameter() for _ in range(n_values)]))
    e.keyword("}LOW_ORDER_FG", "}CRYSTAL_STRUCTURE_DATA")
    return block


def read_incident_beam(e, sd):
    e.keyword("INCIDENT_BEAM{")
    sd.inc_uvw, sd.nor_uvw = e.ints(3), e.ints(3)
    sd.base_g1 = e.floats(3)
    sd.H_tilt, sd.G_tilt, sd.acc_voltage = e.one(), e.one(), e.one()
    e.keyword("}INCIDENT_BEAM")


def read_kxy_range(e, sd):
    e.keyword("CALC_KXY_RANGE{")
    sd.calc_type, sd.num_cal_pix_side, sd.disksize = e.count(), e.count(), e.one()
    e.keyword("}CALC_KXY_RANGE")


def read_beam_search(e, sd, name="BEAM_SEARCH"):
    """Method code and its thresholds, or the manual list."""
    e.keyword(name + "{")
    sd.flag_bs = e.count()
    method = sd.flag_bs % 10
    if method == 0:
        sd.num_exact, sd.num_bethe = e.ints(2)
        sd.manual = [tuple(e.ints(3)) for _ in range(sd.num_exact + sd.num_bethe)]
    else:
        limit, sd.g_max, lz_min, lz_max = e.floats(4)
        sd.num_g_limit, sd.lz_min, sd.lz_max = int(limit), int(lz_min), int(lz_max)
        # Rows of (exact threshold, Bethe threshold, xigmax), one per Laue zone with sg-multi.
        sd.thresholds = [e.floats(3) for _ in range(sd.lz_max + 1 if method == 3 else 1)]
    e.keyword("}" + name)


def read_output_reflex(e):
    e.keyword("OUTPUT_REFLEX{")
    reflections = [tuple(e.ints(3)) for _ in range(e.count())]
    e.keyword("}OUTPUT_REFLEX")
    return reflections


def read_output_thickness(e):
    e.keyword("OUTPUT_THICKNESS{")
    thickness = [e.one() for _ in range(e.count())]
    e.keyword("}OUTPUT_THICKNESS")
    return thickness


def read_output_branch(e, sd):
    e.keyword("OUTPUT_BRANCH{")
    sd.branch_begin, sd.branch_end = e.ints(2)
    e.keyword("}OUTPUT_BRANCH")


def read_rxy_range(e, sd):
    e.keyword("CALC_RXY_RANGE{")
    sd.nx, sd.ny = e.ints(2)
    sd.rx_range, sd.ry_range = e.floats(2), e.floats(2)
    e.keyword("}CALC_RXY_RANGE")


def read_conditions(e, job):
    """The condition block of a job."""
    sd = SimpleNamespace(calc_type=-1, disksize=0.0, thickness=[], output=[])
    prefix = {"SIM_MODE": "SIM", "SIM_COHERENT_MODE": "SIM", "DISPSURF_MODE": "DISPSURF",
              "BLOCH_MODE": "BLOCH", "TFRINGE_MODE": "TFRINGE"}.get(job, "E_DENSITY")
    e.keyword(prefix + "_CALCULATION_CONDITION{")
    read_incident_beam(e, sd)
    if prefix != "E_DENSITY":
        read_kxy_range(e, sd)
    read_beam_search(e, sd, "BEAM_SEARCH_3D" if "3D" in job else "BEAM_SEARCH")
    if prefix == "SIM":
        sd.output, sd.thickness = read_output_reflex(e), read_output_thickness(e)
    elif prefix == "DISPSURF":
        read_output_branch(e, sd)
        sd.output, sd.thickness = read_output_reflex(e), read_output_thickness(e)
    elif prefix == "BLOCH":
        read_rxy_range(e, sd)
        read_output_branch(e, sd)
    elif prefix == "TFRINGE":
        e.keyword("CALC_T_RANGE{")
        n = e.count()
        first, last = e.floats(2)
        sd.thickness = [first + (last - first) * i / (n - 1) for i in range(n)]
        e.keyword("}CALC_T_RANGE")
        sd.output = read_output_reflex(e)
    elif "3D" in job:
        e.keyword("CALC_RXY_RANGE_3D{", "UNITCELL_XYZ")
        sd.grid = e.ints(3)
        e.keyword("}CALC_RXY_RANGE_3D")
    else:
        read_rxy_range(e, sd)
        e.keyword("AREA_PROJ_CELL{")
        sd.area_proj_cell = e.one()
        e.keyword("}AREA_PROJ_CELL")
    e.keyword("}" + prefix + "_CALCULATION_CONDITION")
    if job == "SIM_COHERENT_MODE":
        e.keyword("COHERENT{")
        sd.cs_coef, sd.defocus, sd.probe_pos = e.one(), e.one(), e.floats(3)
        e.keyword("}COHERENT")
    return sd


def read_parameter_file(path):
    """Job keyword, settings, crystal block and condition block."""
    elements = Elements(path)
    job = elements.word()
    settings = read_settings(elements)
    crystal_block = read_crystal_block(elements)
    conditions = read_conditions(elements, job)
    if conditions.flag_bs % 10 == 0:
        settings.vg_select_flag = 0
    return SimpleNamespace(job=job, settings=settings, crystal_block=crystal_block,
                           conditions=conditions)
