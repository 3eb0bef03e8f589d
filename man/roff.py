"""Texts as manual pages hold them."""
import re

# Where a line of Chinese, or a long list, may end: groff knows of blanks alone.
BREAK = re.compile(r"((?<=[\u4e00-\u9fff，。；：、）”])|(?<=\\fR))(?=[\u4e00-\u9fff（“])"
                   r"|(?<=[\u4e00-\u9fff，。；：、）”])(?=\\f[BI])|(?<=[,，；：、])(?=\w)")
# A line of the source that ends in Chinese punctuation stands for no blank; the word that .TP wants ends in none.
LINE_END = re.compile(r"(?m)(^[^.'\n].*[，。；：、）”])\n(?=[\u4e00-\u9fff（“])")


def escaped(text):
    """A sentence, with its minus signs as such."""
    text = re.sub(r"(?<![A-Za-z])-|(?<=\d)-", r"\\-", text.replace("\\", "\\e"))
    return BREAK.sub(r"\\:", re.sub(r"^[.']", r"\\&\g<0>", text))


def breakable(page):
    """A page that was written by hand, with the places where its lines of Chinese may end, if it has any."""
    lines = LINE_END.sub(r"\1", page).split("\n")
    return "\n".join(line if line.startswith((".", "'")) else BREAK.sub(r"\\:", line) for line in lines)
