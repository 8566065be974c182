"""One job of each kind, which tests of faults let run again and again."""

from raster import assert_page, random_page, raster_stream

PAGES = random_page(3, 2), random_page(2, 3)
RASTER = raster_stream(b"RaS3", PAGES[0]) + raster_stream(b"3SaR", PAGES[1])
PDF = b"p" * 40000 + b"%%EOF"


class Sample:
    """PDF and raster documents come on standard input, "named" is raster in a file."""

    def __init__(self, job, kind, document, stand_in):
        self.job, self.kind = job, kind
        self.format = "PDF" if kind == "PDF" else "ZRLE"
        self.arguments = [document] if kind == "named" else []
        self.how = {"input": {"PDF": PDF, "raster": RASTER, "named": b""}[kind],
                    "env": {} if kind == "PDF" else stand_in}
        self.pages = [] if kind == "PDF" else ["-0.zrle", "-1.zrle"]

    def run(self, **more):
        return self.job.run(self.format, *self.arguments, **self.how | more)

    def assert_delivered(self, result):
        self.job.assert_delivered(result, self.format, *(self.pages or [".in"]))
        if self.kind == "PDF":
            assert self.job.read(".in") == PDF
        for suffix, page in zip(self.pages, PAGES):
            assert_page(self.job.path(suffix), page)
