import { ApiError, login, whenUnauthorized } from './api.js';
import { byId, setText } from './dom.js';

/** Shows the login form whenever the program asks for the access token; `whenIn` is called after each login. */
export function setUpLogin(whenIn) {
    const dialog = byId('login');
    const token = byId('login-token');
    whenUnauthorized(() => {
        if (dialog.open) return;
        wanted = true;
        token.value = '';
        setText(byId('login-error'), '');
        dialog.showModal();
    });
    let wanted = false;
    dialog.addEventListener('close', () => {
        if (wanted) dialog.showModal();  // the Escape key closes it, but nothing works without the token
    });
    byId('login-form').addEventListener('submit', async (event) => {
        event.preventDefault();
        setText(byId('login-error'), '');
        try {
            await login(token.value);
            wanted = false;
            dialog.close();
            whenIn();
        } catch (error) {
            if (!(error instanceof ApiError)) throw error;
            setText(byId('login-error'), error.message);
            token.select();
        }
    });
}
