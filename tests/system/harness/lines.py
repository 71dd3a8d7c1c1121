"""Computes the program's expected output from a scanner's records."""

from harness.settings import Settings

_OLDER = ["EAN 13", "EAN 8", "UPCA", "UPCE", "Code 39", "ITF-14", "Code 128", "I2of5", "CodaBar",
          "UCC/EAN-128", "Code 93", "Code 35", "Unknown", "Unknown", "Bookland EAN", "Unknown"]
_SERIES_300 = ["Code 32", "Trioptic", "Korea Post", "Aus. Post", "British Post", "Canada Post",
               "EAN-8", "UPC-E", "UCC/EAN-128", "Japan Post", "KIX Post", "Planet Code", "OCR",
               "Postnet", "China Post", "Micro PDF417", "TLC 39", "PosiCode", "Codabar", "Code 39",
               "UPC-A", "EAN-13", "I2of5", "IATA", "MSI", "Code 11", "Code 93", "Code 128",
               "Code 49", "Matrix2of5", "Plessey", "Code 16K", "Codablock F", "PDF417",
               "QR/Micro QR", "Telepen", "VeriCode", "Data Matrix", "MaxiCode", "EAN/UCC", "RSS",
               "Aztec Code", "No Read", "HanXin Code", "Unknown"]
_RENUMBERED = {20: 10, 21: 11}  # codes of older scanners and their positions in _OLDER
_DATA_DELIMITERS = ["", "\t", " ", ",", ";"]
_RECORD_DELIMITERS = ["", "\n", "\r", "\t", "\r\n"]
_ORDERS = ["NDT", "NTD", "DNT", "DTN", "TND", "TDN"]  # N: name, D: data, T: time
_ERASED = 0xFF


def _name(record, model):
    code = record.symbology & 0x3F
    table = _SERIES_300
    if model == "old":
        # The entries of the newer table follow those of the older table.
        table = _OLDER + _SERIES_300
        code = _RENUMBERED.get(code, code)
    return table[code] if code < len(table) else "Unknown"


def _text(data):
    try:
        return data.decode("utf-8")
    except UnicodeDecodeError:
        return data.decode("latin-1")


def line(record, settings=Settings(), serial="2104005771", model="old"):
    """Returns the expected line for a record."""
    fields = {"D": _text(record.data)}
    if settings.attach_type:
        fields["N"] = _name(record, model)
    if settings.attach_timestamp:
        fields["T"] = f"[{record.time[:10].replace('-', '/')}:{record.time[11:]}]"
    parts = [fields[field] for field in _ORDERS[settings.data_order] if field in fields]
    if settings.attach_serial:
        parts.insert(0 if settings.serial_position == 0 else len(parts), serial[4:])
    return (_DATA_DELIMITERS[settings.data_delimiter].join(parts)
            + _RECORD_DELIMITERS[settings.record_delimiter])


def _transferred(records, settings):
    """Returns the records that the scanner transfers. A burst omits erased slots; a
    record-by-record run includes them."""
    return [record for record in records if record.symbology != _ERASED or not settings.burst_sync]


def file_text(records, settings=Settings(), serial="2104005771", model="old"):
    """Returns the file's expected text. If a line has N UTF-16 units, the program writes only the
    first N bytes of its UTF-8 encoding. A line with non-ASCII characters therefore loses its last
    characters. Incomplete characters become U+FFFD."""
    cut = [text.encode("utf-8")[:len(text.encode("utf-16-le")) // 2] for text in
           (line(record, settings, serial, model) for record in _transferred(records, settings))]
    return b"".join(cut).decode("utf-8", "replace")


def view_text(records, settings=Settings(), serial="2104005771", model="old"):
    """Returns the view's expected text. CR LF, CR and LF each end a line."""
    return "".join(
        line(record, settings, serial, model).replace("\r\n", "\n").replace("\r", "\n")
        for record in _transferred(records, settings))
