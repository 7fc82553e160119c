// Making elements. Texts become text nodes, so that no name or sentence is ever read as markup.

/// element('a', {class: 'name', href: '#'}, 'text', otherElement): attributes that are undefined, null or false are
/// left out, a function is a listener of the event it is named after.
export function element(tag, attributes = {}, ...children) {
    const node = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (typeof value === 'function')
            node.addEventListener(name, value);
        else if (value === true)
            node.setAttribute(name, '');
        else if (value !== undefined && value !== null && value !== false)
            node.setAttribute(name, value);
    }
    node.append(...children.filter(child => child !== null && child !== undefined));
    return node;
}

/// Changes a text only when it is another one, which spares the browser a layout.
export function setText(node, text) {
    if (node.textContent !== text) node.textContent = text;
}

/// Puts `nodes` into `parent` in this order and takes away what else is there; what is in its place is not touched, and
/// the keyboard's focus stays on what is moved.
export function arrange(parent, nodes) {
    const focused = parent.ownerDocument.activeElement;
    const keep = new Set(nodes);
    for (const child of [...parent.children])
        if (!keep.has(child)) child.remove();
    nodes.forEach((node, index) => {
        if (parent.children[index] !== node) parent.insertBefore(node, parent.children[index] ?? null);
    });
    if (focused && focused !== parent.ownerDocument.activeElement && focused.isConnected) focused.focus();
}

/// Calls `work` once before the next picture is painted, however often it was asked for since the last one.
export function oncePerFrame(work) {
    let asked = false;
    return () => {
        if (asked) return;
        asked = true;
        requestAnimationFrame(() => {
            asked = false;
            work();
        });
    };
}
