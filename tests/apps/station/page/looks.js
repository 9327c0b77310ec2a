// What a person who looks at a page would complain about. Each function returns sentences; none is good.
const looks = {
  /** Elements that hold a visible text themselves, with the text's box as far as no ancestor cuts it off. */
  texts() {
    const found = [];
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    while (walker.nextNode()) {
      const element = walker.currentNode.parentElement;
      if (walker.currentNode.data.trim() === "" || element.closest(".unseen, script, option") ||
          !element.checkVisibility({checkOpacity: true, checkVisibilityCSS: true})) {
        continue;
      }
      const range = document.createRange();
      range.selectNodeContents(walker.currentNode);
      for (const rect of range.getClientRects()) {
        const box = this.cut(rect, element);
        if (box.right - box.left > 1 && box.bottom - box.top > 1) {
          found.push({element, box, text: walker.currentNode.data.trim().slice(0, 40)});
        }
      }
    }
    return found;
  },

  cut(rect, element) {
    const box = {left: rect.left, top: rect.top, right: rect.right, bottom: rect.bottom};
    for (let each = element; each !== document.body; each = each.parentElement) {
      if (getComputedStyle(each).overflow !== "visible") {
        const edge = each.getBoundingClientRect();
        box.left = Math.max(box.left, edge.left);
        box.top = Math.max(box.top, edge.top);
        box.right = Math.min(box.right, edge.right);
        box.bottom = Math.min(box.bottom, edge.bottom);
      }
    }
    return box;
  },

  /** Texts over one another or beyond the window, and boxes that cut off what does not fit into them. */
  misplaced() {
    const lies = (one, other) => Math.min(one.right, other.right) - Math.max(one.left, other.left) > 2 &&
      Math.min(one.bottom, other.bottom) - Math.max(one.top, other.top) > 4;  // line boxes are higher than letters
    const isMessage = (text) => text.element.closest("#line");  // a message lies over the keys
    const texts = this.texts();
    const found = [];
    texts.forEach((one, place) => {
      for (const other of texts.slice(place + 1)) {
        if (one.element !== other.element && lies(one.box, other.box) && !(isMessage(one) && isMessage(other))) {
          found.push(`"${one.text}" and "${other.text}" overlap`);
        }
      }
      if (one.box.left < -1 || one.box.right > innerWidth + 1) {
        found.push(`"${one.text}" is beyond the window`);
      }
    });
    for (const element of document.querySelectorAll("body *")) {
      const style = getComputedStyle(element);
      const isCut = element.scrollWidth > element.clientWidth + 1 || element.scrollHeight > element.clientHeight + 1;
      if (style.overflow === "hidden" && style.textOverflow !== "ellipsis" && isCut && element.checkVisibility() &&
          !element.closest(".unseen")) {
        found.push(`${element.tagName} ${element.className} is cut off: "${element.textContent.slice(0, 40)}"`);
      }
    }
    const root = document.documentElement;
    if (root.scrollWidth > innerWidth) {
      found.push(`the page is ${root.scrollWidth} wide`);
    }
    if (document.querySelector("#panels") && root.scrollHeight > innerHeight) {
      found.push(`the bench is ${root.scrollHeight} high`);
    }
    return found;
  },

  /** Texts with less contrast than 4.5 : 1 (WCAG 2.1, 1.4.3). */
  faint() {
    const brush = new OffscreenCanvas(1, 1).getContext("2d", {willReadFrequently: true});
    const paint = (...colours) => {  // one over the other
      for (const colour of colours) {
        brush.fillStyle = colour;
        brush.fillRect(0, 0, 1, 1);
      }
      return brush.getImageData(0, 0, 1, 1).data;
    };
    const luminance = (pixel) => [0.2126, 0.7152, 0.0722].reduce((sum, weight, channel) => {
      const share = pixel[channel] / 255;
      return sum + weight * (share <= 0.04045 ? share / 12.92 : ((share + 0.055) / 1.055) ** 2.4);
    }, 0);
    return this.texts().flatMap(({element, text}) => {
      const grounds = [];
      for (let each = element; each; each = each.parentElement) {
        grounds.unshift(getComputedStyle(each).backgroundColor);
      }
      const [back, front] = [paint("#fff", ...grounds), paint("#fff", ...grounds, getComputedStyle(element).color)].map(luminance);
      const contrast = (Math.max(back, front) + 0.05) / (Math.min(back, front) + 0.05);
      return contrast < 4.5 ? [`"${text}" has a contrast of ${contrast.toFixed(2)}`] : [];
    });
  },
};
return looks[arguments[0]]();
