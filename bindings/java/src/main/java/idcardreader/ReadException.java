package idcardreader;

/** Why a card was not read. */
public final class ReadException extends Exception {
  private static final long serialVersionUID = 1;

  private final int code;
  private final String text;
  private final String[] explanations;

  ReadException(int code, String text) {
    super(code == 0 ? text : text + " (code " + code + ")");
    this.code = code;
    this.text = text;
    explanations = StatusCodes.textsOf(code);
  }

  /** The status code; 0 when there is none. */
  public int code() {
    return code;
  }

  /** The library's text, in Chinese. */
  public String text() {
    return text;
  }

  public String cause() {
    return explanations[0];
  }

  public String cure() {
    return explanations[1];
  }

  /** The cause in Chinese. */
  public String causeZh() {
    return explanations[2];
  }

  /** The cure in Chinese. */
  public String cureZh() {
    return explanations[3];
  }
}
